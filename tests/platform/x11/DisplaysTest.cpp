// The displays of real servers: which there are, where they lie and what they are called.
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include "tests/platform/x11/Pictures.h"
#include "tests/support/VncOutputs.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

using test::ActiveDisplays;
using Monitor = test::XServer::Monitor;

void ExpectBounds(CGDirectDisplayID display, CGRect expected) {
  const CGRect bounds = CGDisplayBounds(display);
  EXPECT_TRUE(CGRectEqualToRect(bounds, expected))
      << bounds.size.width << "x" << bounds.size.height << "+" << bounds.origin.x << "+" << bounds.origin.y;
}

TEST(DisplaysTest, Arrangements) {
  test::XServer server({.width = 1000, .height = 1000});
  const struct {
    const char* what;
    std::vector<Monitor> monitors;
    size_t main, displays;
  } rows[] = {
      {"above one another", {{"C", 0, 500, 1000, 500}, {"D", 0, 0, 1000, 500}}, 1, 2},
      {"the main one not at the corner", {{"G", 0, 0, 500, 1000}, {"*H", 500, 0, 500, 1000}}, 1, 2},
      {"sticking out of the root", {{"I", 0, 0, 600, 600}, {"J", 600, 500, 800, 800}}, 0, 2},
      {"none at the corner", {{"K", 300, 300, 200, 200}, {"L", 600, 600, 200, 200}}, 0, 2},
      {"mirrored", {{"M", 0, 0, 700, 700}, {"N", 0, 0, 700, 700}}, 0, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    server.SetMonitors(row.monitors);
    const auto displays = ActiveDisplays();
    ASSERT_EQ(displays.size(), row.displays);
    EXPECT_EQ(CGMainDisplayID(), displays[0]);
    for (size_t i = 0; i < displays.size(); ++i) EXPECT_EQ(CGDisplayIsMain(displays[i]), i == 0 ? 1U : 0U);
    for (const Monitor& monitor : row.monitors) {
      uint32_t count = 0;
      CGDirectDisplayID found = 0;
      ASSERT_EQ(CGGetDisplaysWithRect(CGRectMake(monitor.x, monitor.y, 1, 1), 1, &found, &count),
                kCGErrorSuccess);
      ASSERT_EQ(count, 1U) << monitor.name;
      ExpectBounds(found, CGRectMake(monitor.x, monitor.y, std::min(monitor.width, 1000 - monitor.x),
                                     std::min(monitor.height, 1000 - monitor.y)));
      EXPECT_EQ(found == displays[0], &monitor == &row.monitors[row.main] || row.displays == 1);
    }
  }
}

TEST(DisplaysTest, AServerWithoutMonitorsIsOneDisplay) {
  const test::XServer server({.width = 800, .height = 600, .extra = {"-extension", "RANDR"}});
  ASSERT_EQ(ActiveDisplays(), std::vector<CGDirectDisplayID>{CGMainDisplayID()});
  ExpectBounds(CGMainDisplayID(), CGRectMake(0, 0, 800, 600));
}

double ModeNumber(CFDictionaryRef mode, CFStringRef key) {
  double value = -1;
  const auto* const number = static_cast<CFNumberRef>(CFDictionaryGetValue(mode, key));
  EXPECT_TRUE(number != nullptr && CFNumberGetValue(number, kCFNumberDoubleType, &value) != 0);
  return value;
}

class DisplayDepthTest : public testing::TestWithParam<int> {};

TEST_P(DisplayDepthTest, TheCurrentModeTellsTheBitsOfAPixelInMemory) {
  const test::XServer server({.width = 640, .height = 480, .depth = GetParam()});
  const CFDictionaryRef mode = CGDisplayCurrentMode(CGMainDisplayID());
  ASSERT_NE(mode, nullptr);
  EXPECT_EQ(ModeNumber(mode, kCGDisplayBitsPerPixel), GetParam() > 16 ? 32 : GetParam());
  EXPECT_EQ(CGDisplayCurrentMode(999), nullptr);
}
INSTANTIATE_TEST_SUITE_P(Depths, DisplayDepthTest, testing::Values(8, 16, 24, 30));

TEST(DisplaysTest, AModeThatChangesIsAnotherOneAndTheOldDescriptionLasts) {
  test::XServer server({.width = 1600, .height = 1000});
  const CFDictionaryRef first = CGDisplayCurrentMode(CGMainDisplayID());
  ASSERT_EQ(server.Run({"xrandr", "--newmode", "small", "74.5", "1400", "1401", "1402", "1403", "900", "901",
                        "902", "903"}),
            0);
  ASSERT_EQ(server.Run({"xrandr", "--addmode", "screen", "small"}), 0);
  ASSERT_EQ(server.Run({"xrandr", "--output", "screen", "--mode", "small"}), 0);
  const CFDictionaryRef second = CGDisplayCurrentMode(CGMainDisplayID());
  EXPECT_EQ(ModeNumber(second, kCGDisplayWidth), 1400);
  EXPECT_EQ(ModeNumber(second, kCGDisplayHeight), 900);
  EXPECT_NEAR(ModeNumber(second, kCGDisplayRefreshRate), 74.5e6 / (1403 * 903), 0.1);
  EXPECT_NE(ModeNumber(second, kCGDisplayMode), ModeNumber(first, kCGDisplayMode));
  EXPECT_EQ(ModeNumber(first, kCGDisplayWidth), 1600);
  EXPECT_EQ(CGDisplayCurrentMode(CGMainDisplayID()), second) << "not a further one at every call";

  server.SetMonitors({{"half", 0, 0, 700, 900}});
  EXPECT_EQ(ModeNumber(CGDisplayCurrentMode(CGMainDisplayID()), kCGDisplayMode), 0)
      << "it has none of its own";
  EXPECT_EQ(CGDisplaySwitchToMode(CGMainDisplayID(), first), kCGErrorIllegalArgument);
  EXPECT_EQ(CGDisplaySwitchToMode(CGMainDisplayID(), CGDisplayCurrentMode(CGMainDisplayID())),
            kCGErrorSuccess);
}

TEST(DisplaysTest, ADisplayIsSwitchedToAnyOfItsModesAndTheOthersStay) {
  test::VncOutputs outputs;
  test::XServer server({.kind = test::XServerOptions::Kind::kXvnc,
                        .width = 800,
                        .height = 600,
                        .extra = outputs.ServerArguments()});
  outputs.Set({{0, 0, 800, 600}, {800, 100, 640, 480}});
  ASSERT_TRUE(test::WaitFor([] { return ActiveDisplays().size() == 2; }));
  const CGDirectDisplayID first = CGMainDisplayID();
  const CGDirectDisplayID second = ActiveDisplays()[1];
  const auto modeOf = [&](const char* name) {
    EXPECT_EQ(server.Run({"xrandr", "--output", "VNC-0", "--mode", name}), 0);
    return CGDisplayCurrentMode(first);
  };
  const CFDictionaryRef small = modeOf("640x480"), large = modeOf("1920x1200"), middle = modeOf("800x600");
  const struct {
    CFDictionaryRef mode;
    int width, height, rootWidth, rootHeight;
  } rows[] = {{large, 1920, 1200, 1920, 1200},
              {small, 640, 480, 1440, 580},
              {middle, 800, 600, 1440, 600},
              {middle, 800, 600, 1440, 600}};
  for (const auto& row : rows) {
    ASSERT_EQ(CGDisplaySwitchToMode(first, row.mode), kCGErrorSuccess) << row.width;
    EXPECT_EQ(CGDisplayCurrentMode(first), row.mode);
    ExpectBounds(first, CGRectMake(0, 0, row.width, row.height));
    ExpectBounds(second, CGRectMake(800, 100, 640, 480));
    test::XClient root;
    EXPECT_FALSE(root.Read(0, 0, row.rootWidth, row.rootHeight).empty()) << row.width;
    EXPECT_TRUE(root.Read(0, 0, row.rootWidth + 1, 1).empty()) << row.width;
    EXPECT_TRUE(root.Read(0, 0, 1, row.rootHeight + 1).empty()) << row.width;
  }

  ASSERT_EQ(server.Run({"xrandr", "--newmode", "own", "74.5", "1400", "1401", "1402", "1403", "900", "901",
                        "902", "903"}),
            0);
  ASSERT_EQ(server.Run({"xrandr", "--addmode", "VNC-0", "own"}), 0);
  const CFDictionaryRef own = modeOf("own");
  modeOf("800x600");
  EXPECT_EQ(CGDisplaySwitchToMode(first, own), kCGErrorSuccess);
  EXPECT_EQ(CGDisplaySwitchToMode(second, own), kCGErrorIllegalArgument) << "it is the other one's";
  EXPECT_EQ(CGDisplaySwitchToMode(first, middle), kCGErrorSuccess);
  ASSERT_EQ(server.Run({"xrandr", "--delmode", "VNC-0", "own"}), 0);
  const CFDictionaryRef none = CFDictionaryCreate(kCFAllocatorDefault, nullptr, nullptr, 0, nullptr, nullptr);
  const struct {
    CGDirectDisplayID display;
    CFDictionaryRef mode;
  } refused[] = {{first, own}, {first, nullptr}, {first, none}, {999, middle}};
  for (const auto& [display, mode] : refused)
    EXPECT_EQ(CGDisplaySwitchToMode(display, mode), kCGErrorIllegalArgument) << display;
  CFRelease(none);
  ExpectBounds(first, CGRectMake(0, 0, 800, 600));
  server.Terminate();
  EXPECT_EQ(CGDisplaySwitchToMode(first, large), kCGErrorCannotComplete);
}

}  // namespace
