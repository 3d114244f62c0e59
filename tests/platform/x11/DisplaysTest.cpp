// The displays of real servers: which there are, where they lie and what they are called.
#include <gtest/gtest.h>

#include "platform/System.h"
#include "tests/platform/x11/Pictures.h"
#include "tests/support/XServer.h"

namespace {

using test::ActiveDisplays;

void ExpectBounds(CGDirectDisplayID display, CGRect expected) {
  const CGRect bounds = CGDisplayBounds(display);
  EXPECT_TRUE(CGRectEqualToRect(bounds, expected))
      << bounds.size.width << "x" << bounds.size.height << "+" << bounds.origin.x << "+" << bounds.origin.y;
}

TEST(DisplaysTest, OneScreenIsOneMainDisplay) {
  const test::XServer server({.width = 800, .height = 600});
  const auto displays = ActiveDisplays();
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_EQ(CGMainDisplayID(), displays[0]);
  EXPECT_EQ(CGDisplayIsMain(displays[0]), 1U);
  EXPECT_EQ(CGDisplayUnitNumber(displays[0]), 0U);
  ExpectBounds(displays[0], CGRectMake(0, 0, 800, 600));
  ExpectBounds(displays[0] + 1, CGRectZero);
  EXPECT_EQ(CGDisplayIsMain(displays[0] + 1), 0U);
}

TEST(DisplaysTest, ListsKeepToTheirLimits) {
  const test::XServer server({.width = 800, .height = 600});
  ASSERT_EQ(server.Run({"xrandr", "--setmonitor", "L", "400/100x600/100+0+0", "screen"}), 0);
  ASSERT_EQ(server.Run({"xrandr", "--setmonitor", "R", "400/100x600/100+400+0", "none"}), 0);
  const auto displays = ActiveDisplays();
  ASSERT_EQ(displays.size(), 2U);

  uint32_t count = 77;
  EXPECT_EQ(CGGetActiveDisplayList(0, nullptr, &count), kCGErrorSuccess);
  EXPECT_EQ(count, 2U);
  CGDirectDisplayID one[2] = {0, 99};
  EXPECT_EQ(CGGetActiveDisplayList(1, one, &count), kCGErrorSuccess);
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(one[0], displays[0]);
  EXPECT_EQ(one[1], 99U);
  EXPECT_EQ(CGGetActiveDisplayList(2, one, nullptr), kCGErrorIllegalArgument);

  struct {
    CGRect rect;
    std::vector<CGDirectDisplayID> expected;
  } const rows[] = {{CGRectMake(0, 0, 400, 600), {displays[0]}},
                    {CGRectMake(399, 0, 2, 1), {displays[0], displays[1]}},
                    {CGRectMake(400, 10, 5, 5), {displays[1]}},
                    {CGRectMake(0, 600, 100, 100), {}},
                    {CGRectNull, {}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.rect.origin.x);
    std::vector<CGDirectDisplayID> found(4);
    ASSERT_EQ(CGGetDisplaysWithRect(row.rect, 4, found.data(), &count), kCGErrorSuccess);
    found.resize(count);
    EXPECT_EQ(found, row.expected);
  }
  EXPECT_EQ(CGGetDisplaysWithRect(CGRectZero, 4, nullptr, nullptr), kCGErrorIllegalArgument);
}

TEST(DisplaysTest, Arrangements) {
  const test::XServer server({.width = 1000, .height = 1000});
  struct Monitor {
    const char* name;
    const char* geometry;
    CGRect bounds;
  };
  struct {
    const char* what;
    std::vector<Monitor> monitors;
    size_t main;
  } const rows[] = {
      {"side by side",
       {{"A", "500/1x1000/1+0+0", CGRectMake(0, 0, 500, 1000)},
        {"B", "500/1x900/1+500+0", CGRectMake(500, 0, 500, 900)}},
       0},
      {"above one another",
       {{"C", "1000/1x500/1+0+500", CGRectMake(0, 500, 1000, 500)},
        {"D", "1000/1x500/1+0+0", CGRectMake(0, 0, 1000, 500)}},
       1},
      {"with a gap",
       {{"E", "300/1x300/1+0+0", CGRectMake(0, 0, 300, 300)},
        {"F", "300/1x300/1+700+700", CGRectMake(700, 700, 300, 300)}},
       0},
      {"the main one not at the corner",
       {{"G", "500/1x1000/1+0+0", CGRectMake(0, 0, 500, 1000)},
        {"*H", "500/1x1000/1+500+0", CGRectMake(500, 0, 500, 1000)}},
       1},
      {"sticking out of the root",
       {{"I", "600/1x600/1+0+0", CGRectMake(0, 0, 600, 600)},
        {"J", "800/1x800/1+600+500", CGRectMake(600, 500, 400, 500)}},
       0},
      {"none at the corner",
       {{"K", "200/1x200/1+300+300", CGRectMake(300, 300, 200, 200)},
        {"L", "200/1x200/1+600+600", CGRectMake(600, 600, 200, 200)}},
       0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const char* output = "screen";
    for (const Monitor& monitor : row.monitors) {
      ASSERT_EQ(server.Run({"xrandr", "--setmonitor", monitor.name, monitor.geometry, output}), 0);
      output = "none";
    }
    const auto displays = ActiveDisplays();
    EXPECT_EQ(displays.size(), row.monitors.size());
    if (displays.empty()) continue;
    ExpectBounds(displays[0], row.monitors[row.main].bounds);
    EXPECT_EQ(CGMainDisplayID(), displays[0]);
    for (size_t i = 0; i < displays.size(); ++i) EXPECT_EQ(CGDisplayIsMain(displays[i]), i == 0 ? 1U : 0U);
    for (const Monitor& monitor : row.monitors) {
      uint32_t count = 0;
      CGDirectDisplayID found = 0;
      const CGRect corner = CGRectMake(monitor.bounds.origin.x, monitor.bounds.origin.y, 1, 1);
      ASSERT_EQ(CGGetDisplaysWithRect(corner, 1, &found, &count), kCGErrorSuccess);
      if (count == 1) {
        ExpectBounds(found, monitor.bounds);
      } else {
        ADD_FAILURE() << "no display at " << monitor.name;
      }
    }
    for (const Monitor& monitor : row.monitors) {
      const std::string name = monitor.name[0] == '*' ? monitor.name + 1 : monitor.name;
      ASSERT_EQ(server.Run({"xrandr", "--delmonitor", name}), 0);
    }
  }
}

TEST(DisplaysTest, OfMirroredMonitorsOneIsReported) {
  const test::XServer server({.width = 800, .height = 600});
  ASSERT_EQ(server.Run({"xrandr", "--setmonitor", "Copy", "800/1x600/1+0+0", "none"}), 0);
  EXPECT_EQ(ActiveDisplays().size(), 1U);
}

TEST(DisplaysTest, AServerWithoutMonitorsIsOneDisplay) {
  const test::XServer server({.width = 800, .height = 600, .extra = {"-extension", "RANDR"}});
  const auto displays = ActiveDisplays();
  ASSERT_EQ(displays.size(), 1U);
  ExpectBounds(displays[0], CGRectMake(0, 0, 800, 600));
  EXPECT_EQ(CGMainDisplayID(), displays[0]);
}

TEST(DisplaysTest, AMonitorThatComesBackIsTheSameDisplay) {
  const test::XServer server({.width = 800, .height = 600});
  const std::vector<std::string> plugLeft = {"xrandr", "--setmonitor", "Left", "400/1x600/1+0+0", "screen"};
  const std::vector<std::string> plugRight = {"xrandr", "--setmonitor", "Right", "400/1x600/1+400+0", "none"};
  const CGDirectDisplayID whole = CGMainDisplayID();
  ASSERT_EQ(server.Run(plugLeft), 0);
  ASSERT_EQ(server.Run(plugRight), 0);
  const auto before = ActiveDisplays();
  ASSERT_EQ(before.size(), 2U);
  EXPECT_NE(before[0], before[1]);
  const uint32_t unit = CGDisplayUnitNumber(before[1]);
  EXPECT_NE(CGDisplayUnitNumber(before[0]), unit);

  ASSERT_EQ(server.Run({"xrandr", "--delmonitor", "Right"}), 0);
  ASSERT_EQ(server.Run({"xrandr", "--delmonitor", "Left"}), 0);
  EXPECT_EQ(ActiveDisplays(), std::vector<CGDirectDisplayID>{whole});
  EXPECT_EQ(CGDisplayUnitNumber(before[1]), unit);

  ASSERT_EQ(server.Run(plugRight), 0);
  ASSERT_EQ(server.Run(plugLeft), 0);
  EXPECT_EQ(ActiveDisplays(), before);
}

TEST(DisplaysTest, WithoutAServerNothingIsThere) {
  unsetenv("DISPLAY");
  uint32_t count = 5;
  EXPECT_EQ(CGGetActiveDisplayList(4, nullptr, &count), kCGErrorCannotComplete);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(CGGetDisplaysWithRect(CGRectMake(0, 0, 1, 1), 4, nullptr, &count), kCGErrorCannotComplete);
  EXPECT_EQ(CGMainDisplayID(), kCGNullDirectDisplay);
  EXPECT_TRUE(CGRectEqualToRect(CGDisplayBounds(1), CGRectZero));
  EXPECT_FALSE(test::Capture(1, 0, 0, 1, 1));
}

}  // namespace
