#include "rcserv/MonitorConfig.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

namespace rcserv {

bool operator==(const Monitor& a, const Monitor& b) {
  return std::tie(a.rect, a.primary, a.viewed) == std::tie(b.rect, b.primary, b.viewed);
}
void PrintTo(const Monitor& m, std::ostream* out) {
  *out << m.rect.left << "," << m.rect.top << "-" << m.rect.right << "," << m.rect.bottom
       << (m.primary ? " primary" : "") << (m.viewed ? " viewed" : "");
}
void PrintTo(const Rect& r, std::ostream* out) {
  *out << r.left << "," << r.top << "-" << r.right << "," << r.bottom;
}

namespace {

class FakeConfig : public MonitorConfig {
 public:
  OsMonitors os;
  bool answers = true;
  int changes = 0;
  std::vector<std::tuple<uint32_t, bool, size_t>> views;

 protected:
  bool EnumerateOsMonitors(OsMonitors& monitors) override {
    monitors = os;
    return answers;
  }
  void OnMonitorsChanged() override { ++changes; }
  void OnViewChanged(uint32_t id, bool viewed, size_t count) override {
    views.emplace_back(id, viewed, count);
  }
};

TEST(MonitorConfigTest, MonitorsCountFromTheTopLeftCornerOfAllOfThem) {
  FakeConfig config;
  config.os = {{"MonitorUnit:1", {MakeLTRB(0, 0, 1920, 1080), true}},
               {"MonitorUnit:2", {MakeLTRB(-1280, 0, 0, 1024), false}}};
  ASSERT_TRUE(config.EnumerateMonitors());
  EXPECT_EQ(config.desktop(), MakeLTRB(-1280, 0, 1920, 1080));
  EXPECT_EQ(config.bounds(), MakeLTRB(0, 0, 3200, 1080));
  EXPECT_EQ(config.monitors(), (Monitors{{0, {MakeLTRB(1280, 0, 3200, 1080), true, true}},
                                         {1, {MakeLTRB(0, 0, 1280, 1024), false, false}}}));
  EXPECT_EQ(config.viewed_count(), 1U);
  EXPECT_EQ(config.changes, 1);
}

TEST(MonitorConfigTest, ThePrimaryOneTakesNumberZeroFromAnother) {
  FakeConfig config;
  config.os = {{"A", {MakeLTRB(0, 0, 10, 10), false}}, {"B", {MakeLTRB(10, 0, 20, 10), true}}};
  ASSERT_TRUE(config.EnumerateMonitors());
  EXPECT_EQ(config.monitors(), (Monitors{{0, {MakeLTRB(10, 0, 20, 10), true, true}},
                                         {1, {MakeLTRB(0, 0, 10, 10), false, false}}}));
}

TEST(MonitorConfigTest, ThePrimaryOneMovesToNumberZeroWhenThatIsFree) {
  FakeConfig config;
  config.os = {{"A", {MakeLTRB(0, 0, 10, 10), true}}, {"B", {MakeLTRB(10, 0, 20, 10), false}}};
  ASSERT_TRUE(config.EnumerateMonitors());
  config.os = {{"B", {MakeLTRB(10, 0, 20, 10), true}}};
  ASSERT_TRUE(config.EnumerateMonitors());
  EXPECT_EQ(config.monitors(), (Monitors{{0, {MakeLTRB(0, 0, 10, 10), true, true}}}));
  EXPECT_EQ(config.desktop(), MakeLTRB(10, 0, 20, 10));
}

TEST(MonitorConfigTest, NumbersSurviveUnplugAndReplug) {
  FakeConfig config;
  const OsMonitors all = {{"A", {MakeLTRB(0, 0, 10, 10), true}},
                          {"B", {MakeLTRB(10, 0, 20, 10), false}},
                          {"C", {MakeLTRB(20, 0, 30, 10), false}}};
  config.os = all;
  ASSERT_TRUE(config.EnumerateMonitors());
  ASSERT_TRUE(config.ViewMonitor(2, true));
  config.os.erase("B");
  config.os["D"] = {MakeLTRB(30, 0, 40, 10), false};
  ASSERT_TRUE(config.EnumerateMonitors());
  EXPECT_EQ(config.changes, 1) << "three monitors before and after";
  EXPECT_EQ(config.monitors(), (Monitors{{0, {MakeLTRB(0, 0, 10, 10), true, true}},
                                         {2, {MakeLTRB(20, 0, 30, 10), false, true}},
                                         {3, {MakeLTRB(30, 0, 40, 10), false, false}}}));
  config.os = all;
  ASSERT_TRUE(config.EnumerateMonitors());
  EXPECT_EQ(config.monitors().at(1).rect, MakeLTRB(10, 0, 20, 10));
}

TEST(MonitorConfigTest, AFailedQueryKeepsWhatWas) {
  FakeConfig config;
  EXPECT_FALSE(config.EnumerateMonitors()) << "no monitor";
  config.os = {{"A", {MakeLTRB(0, 0, 10, 10), true}}};
  ASSERT_TRUE(config.EnumerateMonitors());
  config.os = {{"B", {MakeLTRB(0, 0, 20, 20), true}}};
  config.answers = false;
  EXPECT_FALSE(config.EnumerateMonitors());
  EXPECT_EQ(config.bounds(), MakeLTRB(0, 0, 10, 10));
  EXPECT_EQ(config.changes, 1);
}

TEST(MonitorConfigTest, OnlyRectanglesWithoutAnyExtentAreLeftOutOfTheUnion) {
  FakeConfig config;
  config.os = {{"A", {MakeLTRB(-50, -50, -50, -50), false}},
               {"B", {MakeLTRB(5, 5, 15, 15), true}},
               {"C", {MakeLTRB(20, 5, 20, 30), false}}};
  ASSERT_TRUE(config.EnumerateMonitors());
  EXPECT_EQ(config.desktop(), MakeLTRB(5, 5, 20, 30));
  config.os = {{"A", {MakeLTRB(7, 7, 7, 7), false}}};
  ASSERT_TRUE(config.EnumerateMonitors());
  EXPECT_EQ(config.desktop(), Rect());
  EXPECT_EQ(config.bounds(), Rect());
  EXPECT_EQ(config.viewed_count(), 1U);
}

TEST(MonitorConfigTest, OneMonitorAlwaysStaysViewed) {
  FakeConfig config;
  config.os = {{"A", {MakeLTRB(0, 0, 10, 10), true}}, {"B", {MakeLTRB(10, 0, 20, 10), false}}};
  ASSERT_TRUE(config.EnumerateMonitors());
  EXPECT_FALSE(config.ViewMonitor(5, true));
  EXPECT_FALSE(config.ViewMonitor(0, false));
  EXPECT_TRUE(config.ViewMonitor(0, true));
  EXPECT_TRUE(config.ViewMonitor(1, true));
  EXPECT_TRUE(config.ViewMonitor(0, false));
  EXPECT_FALSE(config.ViewMonitor(1, false));
  EXPECT_EQ(config.views, (std::vector<std::tuple<uint32_t, bool, size_t>>{{1, true, 2}, {0, false, 1}}));
}

}  // namespace
}  // namespace rcserv
