// What the refresh callbacks are told, and when they are called no more.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "platform/ThreadSafety.h"
#include "tests/platform/x11/Pictures.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

using Rects = std::vector<CGRect>;

// Remembers every call. Its Callback goes with itself as the user data.
class Recorder {
 public:
  static void Callback(uint32_t count, const CGRect* rects, void* self) {
    static_cast<Recorder*>(self)->Record(Rects(rects, rects + count));
  }

  [[nodiscard]] size_t Calls() {
    const Locked locked(lock_);
    return calls_.size();
  }
  [[nodiscard]] Rects Call(size_t index) {
    const Locked locked(lock_);
    return calls_.at(index);
  }

  // The next call waits until Release().
  void Hold() {
    const Locked locked(lock_);
    held_ = true;
  }
  void Release() {
    const Locked locked(lock_);
    held_ = false;
    changed_.NotifyAll();
  }

 private:
  void Record(Rects rects) {
    const Locked locked(lock_);
    calls_.push_back(std::move(rects));
    while (held_) changed_.Wait(lock_);
  }

  Lock lock_;
  Condition changed_;
  bool held_ GUARDED_BY(lock_) = false;
  std::vector<Rects> calls_ GUARDED_BY(lock_);
};

void ExpectRect(const CGRect& rect, double x, double y, double width, double height) {
  EXPECT_TRUE(CGRectEqualToRect(rect, CGRectMake(x, y, width, height)))
      << rect.size.width << "x" << rect.size.height << "+" << rect.origin.x << "+" << rect.origin.y;
}

bool WindowServerThreadRuns() {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (name == "window server") return true;
  }
  return false;
}

class RefreshTest : public testing::TestWithParam<test::XServerOptions::Kind> {
 protected:
  test::XServer server_{{.kind = GetParam(), .width = 640, .height = 480}};
  test::XClient witness_;
  Recorder recorder_;
};

INSTANTIATE_TEST_SUITE_P(Servers, RefreshTest,
                         testing::Values(test::XServerOptions::Kind::kXvfb,
                                         test::XServerOptions::Kind::kXvnc),
                         [](const auto& kind) {
                           return kind.param == test::XServerOptions::Kind::kXvfb ? "Xvfb" : "Xvnc";
                         });

TEST_P(RefreshTest, ADrawingIsReportedWithItsRectangleAndNothingBefore) {
  witness_.Fill(1, 2, 3, 4, 0x112233);
  witness_.Sync();
  ASSERT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, &recorder_), kCGErrorSuccess);
  witness_.Fill(100, 50, 30, 20, 0x445566);
  ASSERT_TRUE(test::WaitFor([&] { return recorder_.Calls() >= 1; }));
  ASSERT_EQ(recorder_.Call(0).size(), 1U);
  ExpectRect(recorder_.Call(0)[0], 100, 50, 30, 20);
  // The pixels are there when the report is.
  EXPECT_EQ(test::PixelsOf(test::Capture(CGMainDisplayID(), 129, 69, 1, 1).get()),
            std::vector<uint32_t>{0x445566});
  CGUnregisterScreenRefreshCallback(Recorder::Callback, &recorder_);
}

TEST_P(RefreshTest, AWindowThatOpensAndClosesIsReported) {
  ASSERT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, &recorder_), kCGErrorSuccess);
  const uint32_t window = witness_.OpenWindow(10, 20, 100, 80, 0x00ff00);
  ASSERT_TRUE(test::WaitFor([&] { return recorder_.Calls() >= 1; }));
  ExpectRect(recorder_.Call(0)[0], 10, 20, 100, 80);
  witness_.CloseWindow(window);
  ASSERT_TRUE(test::WaitFor([&] { return recorder_.Calls() >= 2; }));
  ExpectRect(recorder_.Call(1)[0], 10, 20, 100, 80);
  CGUnregisterScreenRefreshCallback(Recorder::Callback, &recorder_);
}

TEST_P(RefreshTest, AllThatHasArrivedComesInOneCall) {
  ASSERT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, &recorder_), kCGErrorSuccess);
  recorder_.Hold();
  witness_.Fill(0, 0, 1, 1, 1);
  ASSERT_TRUE(test::WaitFor([&] { return recorder_.Calls() == 1; }));
  for (int i = 0; i < 50; ++i) witness_.Fill(i * 3, i, 2, 1, 2);
  witness_.Sync();
  recorder_.Release();
  ASSERT_TRUE(test::WaitFor([&] { return recorder_.Calls() >= 2; }));
  const Rects rects = recorder_.Call(1);
  ASSERT_EQ(rects.size(), 50U);
  for (int i = 0; i < 50; ++i) ExpectRect(rects[static_cast<size_t>(i)], i * 3, i, 2, 1);
  CGUnregisterScreenRefreshCallback(Recorder::Callback, &recorder_);
}

TEST_P(RefreshTest, NothingIsReportedAfterUnregistering) {
  Recorder other;
  ASSERT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, &recorder_), kCGErrorSuccess);
  ASSERT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, &other), kCGErrorSuccess);
  ASSERT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, &other), kCGErrorSuccess);  // the same one
  CGUnregisterScreenRefreshCallback(Recorder::Callback, &recorder_);
  witness_.Fill(0, 0, 5, 5, 1);
  ASSERT_TRUE(test::WaitFor([&] { return other.Calls() >= 1; }));
  CGUnregisterScreenRefreshCallback(Recorder::Callback, &other);
  EXPECT_EQ(other.Calls(), 1U);
  EXPECT_EQ(recorder_.Calls(), 0U);
}

TEST_P(RefreshTest, TheThreadIsThereOnlyWhileSomethingIsRegistered) {
  ASSERT_NE(CGMainDisplayID(), kCGNullDirectDisplay);
  EXPECT_FALSE(WindowServerThreadRuns());
  for (int round = 0; round < 3; ++round) {
    ASSERT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, &recorder_), kCGErrorSuccess);
    witness_.Fill(0, 0, 5, 5, 1);
    ASSERT_TRUE(test::WaitFor([&] { return recorder_.Calls() > static_cast<size_t>(round); }));
    EXPECT_TRUE(WindowServerThreadRuns());
    CGUnregisterScreenRefreshCallback(Recorder::Callback, &recorder_);
    EXPECT_TRUE(test::WaitFor([] { return !WindowServerThreadRuns(); }));
  }
}

TEST_P(RefreshTest, UnregisteringWaitsForARunningCall) {
  struct Slow {
    std::atomic<bool> entered{false};
    std::atomic<bool> unregistering{false};
    std::atomic<bool> left{false};
  } slow;
  const CGScreenRefreshCallback callback = [](uint32_t, const CGRect*, void* info) {
    auto& state = *static_cast<Slow*>(info);
    state.entered = true;
    while (!state.unregistering) std::this_thread::yield();
    for (int i = 0; i < 100; ++i) (void)test::Capture(CGMainDisplayID(), 0, 0, 64, 64);
    state.left = true;
  };
  ASSERT_EQ(CGRegisterScreenRefreshCallback(callback, &slow), kCGErrorSuccess);
  ASSERT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, &recorder_), kCGErrorSuccess);
  witness_.Fill(0, 0, 5, 5, 1);
  ASSERT_TRUE(test::WaitFor([&] { return slow.entered.load(); }));
  slow.unregistering = true;
  CGUnregisterScreenRefreshCallback(callback, &slow);
  EXPECT_TRUE(slow.left);
  CGUnregisterScreenRefreshCallback(Recorder::Callback, &recorder_);
}

TEST_P(RefreshTest, ACallbackMayUnregisterItselfAndRegisterAnother) {
  struct Once {
    Recorder* next;
    std::atomic<int> calls{0};
    static void Callback(uint32_t, const CGRect*, void* info) {
      auto& self = *static_cast<Once*>(info);
      ++self.calls;
      CGUnregisterScreenRefreshCallback(Callback, info);
      if (self.next != nullptr) {
        EXPECT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, self.next), kCGErrorSuccess);
      }
    }
  };
  Once once{&recorder_};
  ASSERT_EQ(CGRegisterScreenRefreshCallback(Once::Callback, &once), kCGErrorSuccess);
  witness_.Fill(0, 0, 5, 5, 1);
  ASSERT_TRUE(test::WaitFor([&] { return once.calls == 1; }));
  ASSERT_TRUE(test::WaitFor([&] {
    witness_.Fill(0, 0, 5, 5, 1);
    witness_.Sync();
    return recorder_.Calls() > 0;
  }));
  EXPECT_EQ(once.calls, 1);
  CGUnregisterScreenRefreshCallback(Recorder::Callback, &recorder_);

  Once last{nullptr};
  ASSERT_EQ(CGRegisterScreenRefreshCallback(Once::Callback, &last), kCGErrorSuccess);
  witness_.Fill(0, 0, 5, 5, 1);
  ASSERT_TRUE(test::WaitFor([&] { return last.calls == 1; }));
  EXPECT_TRUE(test::WaitFor([] { return !WindowServerThreadRuns(); }));
}

TEST(RefreshArgumentsTest, WhatCannotBeRegisteredIsRefused) {
  EXPECT_EQ(CGRegisterScreenRefreshCallback(nullptr, nullptr), kCGErrorIllegalArgument);
  EXPECT_EQ(CGDisplayRegisterReconfigurationCallback(nullptr, nullptr), kCGErrorIllegalArgument);
  unsetenv("DISPLAY");
  Recorder recorder;
  EXPECT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, &recorder), kCGErrorCannotComplete);
  CGUnregisterScreenRefreshCallback(Recorder::Callback, &recorder);
}

TEST(RefreshArgumentsTest, AServerThatCannotTellWhatIsDrawnIsRefused) {
  const test::XServer server({.extra = {"-extension", "DAMAGE"}});
  Recorder recorder;
  EXPECT_EQ(CGRegisterScreenRefreshCallback(Recorder::Callback, &recorder), kCGErrorCannotComplete);
  EXPECT_NE(CGMainDisplayID(), kCGNullDirectDisplay);
}

}  // namespace
