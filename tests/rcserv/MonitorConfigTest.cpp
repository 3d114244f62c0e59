#include "rcserv/MonitorConfig.h"

#include <gtest/gtest.h>

#include <sstream>

namespace rcserv {
namespace {

class FakeConfig : public MonitorConfig {
 public:
  OsMonitors os;
  bool answers = true;
  int changes = 0;

 protected:
  bool EnumerateOsMonitors(OsMonitors& monitors) override {
    monitors = os;
    return answers;
  }
  void OnMonitorsChanged() override { ++changes; }
};

// The desktop, and each monitor counted from its corner.
std::string Text(const FakeConfig& config) {
  std::ostringstream text;
  const auto put = [&text](const Rect& r) {
    text << r.left << "," << r.top << "-" << r.right << "," << r.bottom;
  };
  put(config.desktop());
  for (const auto& [id, monitor] : config.monitors()) {
    text << " | " << id << ": ";
    put(monitor.rect);
    text << (monitor.primary ? " primary" : "") << (monitor.viewed ? " viewed" : "");
  }
  return text.str();
}

// One after the other, each with what the one before left.
TEST(MonitorConfigTest, MonitorsKeepTheirNumbersAndThePrimaryOneIsNumberZero) {
  const OsMonitor left = {MakeLTRB(-10, 5, 0, 15), false};
  const OsMonitor main = {MakeLTRB(0, 0, 20, 10), true};
  const OsMonitor point = {MakeLTRB(-50, -50, -50, -50), false};
  const struct {
    const char* what;
    OsMonitors os;
    const char* expected;
    int changes;
  } rows[] = {
      {"main not first",
       {{"A", left}, {"B", main}},
       "-10,0-20,15 | 0: 10,0-30,10 primary viewed | 1: 0,5-10,15",
       1},
      {"a third one, without any extent",
       {{"A", left}, {"B", main}, {"C", point}},
       "-10,0-20,15 | 0: 10,0-30,10 primary viewed | 1: 0,5-10,15 | 2: -40,-50--40,-50",
       2},
      {"A unplugged, D plugged in",
       {{"B", main}, {"C", left}, {"D", left}},
       "-10,0-20,15 | 0: 10,0-30,10 primary viewed | 2: 0,5-10,15 | 3: 0,5-10,15",
       2},
      {"A replugged",
       {{"A", left}, {"B", main}},
       "-10,0-20,15 | 0: 10,0-30,10 primary viewed | 1: 0,5-10,15",
       3},
      {"only A, now the main one", {{"A", main}}, "0,0-20,10 | 0: 0,0-20,10 primary viewed", 4},
  };
  FakeConfig config;
  EXPECT_FALSE(config.EnumerateMonitors()) << "no monitor";
  for (const auto& row : rows) {
    config.os = row.os;
    ASSERT_TRUE(config.EnumerateMonitors()) << row.what;
    EXPECT_EQ(Text(config), row.expected) << row.what;
    EXPECT_EQ(config.changes, row.changes) << row.what;
  }
  config.os = {{"B", main}, {"A", left}};
  config.answers = false;
  EXPECT_FALSE(config.EnumerateMonitors());
  EXPECT_EQ(Text(config), rows[4].expected) << "a failed query keeps what was";
}

}  // namespace
}  // namespace rcserv
