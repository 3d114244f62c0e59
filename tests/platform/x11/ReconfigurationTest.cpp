// What the listeners are told when displays come, go, move and change their size.
#include "platform/x11/Reconfiguration.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/ThreadSafety.h"
#include "tests/platform/x11/Pictures.h"
#include "tests/platform/x11/RefreshRecorder.h"
#include "tests/support/VncOutputs.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XServer.h"

namespace {

using platform::x11::DisplayList;
using platform::x11::DisplayNotice;

constexpr CGDisplayChangeSummaryFlags kBegin = kCGDisplayBeginConfigurationFlag;
constexpr CGDisplayChangeSummaryFlags kAdd = kCGDisplayAddFlag;
constexpr CGDisplayChangeSummaryFlags kRemove = kCGDisplayRemoveFlag;
constexpr CGDisplayChangeSummaryFlags kMoved = kCGDisplayMovedFlag;
constexpr CGDisplayChangeSummaryFlags kMode = kCGDisplaySetModeFlag;
constexpr CGDisplayChangeSummaryFlags kMain = kCGDisplaySetMainFlag;
constexpr CGDisplayChangeSummaryFlags kShape = kCGDisplayDesktopShapeChangedFlag;

TEST(ReconfigurationTest, NoticesSayWhatIsDifferent) {
  const DisplayList one = {{1, {0, 0, 100, 100}, true}};
  const DisplayList two = {{1, {0, 0, 100, 100}, true}, {2, {100, 0, 200, 100}, false}};
  struct {
    const char* what;
    DisplayList before, after;
    std::vector<DisplayNotice> expected;
  } const rows[] = {
      {"nothing", two, two, {}},
      {"added", one, two, {{1, kBegin}, {1, kShape}, {2, kAdd | kShape}}},
      {"removed", two, one, {{1, kBegin}, {2, kBegin}, {1, kShape}, {2, kRemove | kShape}}},
      {"another main display",
       two,
       {{2, {100, 0, 200, 100}, true}, {1, {0, 0, 100, 100}, false}},
       {{1, kBegin}, {2, kBegin}, {2, kMain}, {1, 0}}},
      {"exchanged places",
       two,
       {{1, {100, 0, 200, 100}, true}, {2, {0, 0, 100, 100}, false}},
       {{1, kBegin}, {2, kBegin}, {1, kMoved}, {2, kMoved}}},
      {"the first one", {}, one, {{1, kAdd | kMain | kShape}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_TRUE(platform::x11::NoticesOf(row.before, row.after) == row.expected);
  }
}

// Remembers every notice, and the displays as they were during it.
class Listener {
 public:
  struct Heard {
    DisplayNotice notice;
    std::vector<CGDirectDisplayID> displays;
    CGRect bounds;
  };

  Listener() { EXPECT_EQ(CGDisplayRegisterReconfigurationCallback(Callback, this), kCGErrorSuccess); }
  ~Listener() { CGDisplayRemoveReconfigurationCallback(Callback, this); }

  // Waits until `notice` has been heard since the last call, and forgets everything up to it.
  [[nodiscard]] testing::AssertionResult Await(CGDirectDisplayID display, CGDisplayChangeSummaryFlags flags,
                                               Heard* found = nullptr) {
    const DisplayNotice notice{display, flags};
    if (test::WaitFor([&] {
          const Locked locked(lock_);
          const auto at =
              std::find_if(heard_.begin(), heard_.end(), [&](const Heard& h) { return h.notice == notice; });
          if (at == heard_.end()) return false;
          if (found != nullptr) *found = *at;
          heard_.erase(heard_.begin(), at + 1);
          return true;
        }))
      return testing::AssertionSuccess();
    return testing::AssertionFailure() << "not heard: " << display << "/" << flags;
  }

 private:
  static void Callback(CGDirectDisplayID display, CGDisplayChangeSummaryFlags flags, void* self) {
    auto& listener = *static_cast<Listener*>(self);
    Heard heard{{display, flags}, test::ActiveDisplays(), CGDisplayBounds(display)};
    const Locked locked(listener.lock_);
    listener.heard_.push_back(std::move(heard));
  }

  Lock lock_;
  std::vector<Heard> heard_ GUARDED_BY(lock_);
};

TEST(ReconfigurationTest, ARealOutputKeepsItsIdentityOverUnplugAndReplug) {
  test::VncOutputs outputs;
  const test::XServer server({.kind = test::XServerOptions::Kind::kXvnc,
                              .width = 800,
                              .height = 600,
                              .extra = outputs.ServerArguments()});
  Listener listener;
  const CGDirectDisplayID first = CGMainDisplayID();
  const CGDirectDisplayID second = first + 1;
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    outputs.Set({{0, 0, 800, 600}, {800, 100, 640, 480}});
    Listener::Heard heard;
    ASSERT_TRUE(listener.Await(first, kBegin));
    ASSERT_TRUE(listener.Await(second, kAdd | kShape, &heard));
    EXPECT_EQ(heard.displays, (std::vector<CGDirectDisplayID>{first, second}));
    EXPECT_TRUE(CGRectEqualToRect(heard.bounds, CGRectMake(800, 100, 640, 480)));
    EXPECT_EQ(CGImageGetWidth(test::Capture(second, 630, 0, 20, 20).get()), 10U);

    outputs.Set({{0, 0, 800, 600}});
    ASSERT_TRUE(listener.Await(second, kBegin));
    ASSERT_TRUE(listener.Await(second, kRemove | kShape, &heard));
    EXPECT_EQ(heard.displays, std::vector<CGDirectDisplayID>{first});
    EXPECT_FALSE(test::Capture(second, 0, 0, 20, 20));
  }
}

TEST(ReconfigurationTest, AResizedScreenIsReportedAndRedrawnWhole) {
  const test::XServer server({.kind = test::XServerOptions::Kind::kXvnc, .width = 800, .height = 600});
  Listener listener;
  test::RefreshRecorder drawn;
  ASSERT_EQ(drawn.Register(), kCGErrorSuccess);
  const CGDirectDisplayID display = CGMainDisplayID();

  size_t seen = 0;
  for (const auto& [width, height] : {std::pair(1024, 768), std::pair(640, 480)}) {
    const std::string mode = std::to_string(width) + "x" + std::to_string(height);
    SCOPED_TRACE(mode);
    ASSERT_EQ(server.Run({"xrandr", "-s", mode}), 0);
    ASSERT_TRUE(listener.Await(display, kBegin));
    ASSERT_TRUE(listener.Await(display, kMode | kShape));
    bool whole = false;
    while (!whole) {
      const std::vector<CGRect> rects = drawn.Call(seen++);
      ASSERT_FALSE(rects.empty()) << "not redrawn";
      for (const CGRect& rect : rects)
        whole = whole || CGRectEqualToRect(rect, CGRectMake(0, 0, width, height));
    }
    const test::Image image = test::Capture(display, 0, 0, 5000, 5000);
    EXPECT_EQ(CGImageGetWidth(image.get()), static_cast<size_t>(width));
    EXPECT_EQ(CGImageGetHeight(image.get()), static_cast<size_t>(height));
  }
}

}  // namespace
