#include "rcserv/MonitorConfig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace rcserv {
namespace {

class FakeConfig : public MonitorConfig {
 public:
  OsMonitors os;

 protected:
  bool EnumerateOsMonitors(OsMonitors& monitors) override {
    monitors = os;
    return true;
  }
};

// Each monitor with its place, which counts from the desktop's corner.
std::string Text(const Monitors& monitors) {
  std::ostringstream text;
  for (const auto& [id, monitor] : monitors)
    text << id << ": " << monitor.rect.left << "," << monitor.rect.top
         << (monitor.primary ? " primary; " : "; ");
  return text.str();
}

// One after the other, each with what the one before left.
TEST(MonitorConfigTest, MonitorsKeepTheirNumbersAndThePrimaryOneIsNumberZero) {
  const OsMonitor left = {MakeLTRB(-10, 5, 0, 15), false};
  const OsMonitor main = {MakeLTRB(0, 0, 20, 10), true};
  const struct {
    const char* what;
    OsMonitors os;
    const char* expected;
  } rows[] = {
      {"main not first", {{"A", left}, {"B", main}}, "0: 10,0 primary; 1: 0,5; "},
      {"A unplugged, D plugged in",
       {{"B", main}, {"C", left}, {"D", left}},
       "0: 10,0 primary; 2: 0,5; 3: 0,5; "},
      {"A replugged", {{"A", left}, {"B", main}}, "0: 10,0 primary; 1: 0,5; "},
  };
  FakeConfig config;
  EXPECT_FALSE(config.EnumerateMonitors()) << "no monitor";
  for (const auto& row : rows) {
    config.os = row.os;
    ASSERT_TRUE(config.EnumerateMonitors()) << row.what;
    EXPECT_EQ(Text(config.monitors()), row.expected) << row.what;
  }
  ASSERT_EQ(config.viewed_count(), 1U);
  EXPECT_FALSE(config.ViewMonitor(0, false)) << "the last viewed one";
}

}  // namespace
}  // namespace rcserv
