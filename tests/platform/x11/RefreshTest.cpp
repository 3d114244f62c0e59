// What the refresh callbacks are told, and when they are called no more.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/platform/x11/Pictures.h"
#include "tests/platform/x11/RefreshRecorder.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

using Kind = test::XServerOptions::Kind;

class RefreshTest : public testing::TestWithParam<Kind> {
 protected:
  void ExpectCall(size_t index, const std::vector<CGRect>& expected) {
    const auto rects = recorder_.Call(index);
    ASSERT_EQ(rects.size(), expected.size());
    for (size_t i = 0; i < rects.size(); ++i) {
      const auto& [corner, size] = rects[i];
      EXPECT_TRUE(CGRectEqualToRect(rects[i], expected[i]))
          << i << ": " << size.width << "x" << size.height << "+" << corner.x << "+" << corner.y;
    }
  }

  test::XServer server_{{.kind = GetParam(), .width = 640, .height = 480}};
  test::XClient witness_;
  test::RefreshRecorder recorder_;
};

INSTANTIATE_TEST_SUITE_P(Servers, RefreshTest, testing::Values(Kind::kXvfb, Kind::kXvnc),
                         [](const auto& kind) { return kind.param == Kind::kXvfb ? "Xvfb" : "Xvnc"; });

TEST_P(RefreshTest, WhatIsDrawnIsReportedWithItsRectangleAndNothingBefore) {
  witness_.Fill(1, 2, 3, 4, 0x112233);
  witness_.Sync();
  ASSERT_EQ(recorder_.Register(), kCGErrorSuccess);
  witness_.Fill(100, 50, 30, 20, 0x445566);
  ExpectCall(0, {CGRectMake(100, 50, 30, 20)});
  EXPECT_EQ(test::PixelsOf(test::Capture(CGMainDisplayID(), 129, 69, 1, 1).get()),
            std::vector<uint32_t>{0x445566})
      << "the pixels are there when the report is";
  const uint32_t window = witness_.OpenWindow(10, 20, 100, 80, 0x00ff00);
  ExpectCall(1, {CGRectMake(10, 20, 100, 80)});
  witness_.CloseWindow(window);
  ExpectCall(2, {CGRectMake(10, 20, 100, 80)});
}

TEST_P(RefreshTest, NothingIsReportedAfterUnregistering) {
  for (int round = 0; round < 3; ++round) {
    test::RefreshRecorder other;
    ASSERT_EQ(recorder_.Register(), kCGErrorSuccess);
    ASSERT_EQ(other.Register(), kCGErrorSuccess);
    ASSERT_EQ(other.Register(), kCGErrorSuccess) << "the same one";
    recorder_.Unregister();
    witness_.Fill(0, 0, 5, 5, 1);
    EXPECT_EQ(other.Call(0).size(), 1U) << round;
    other.Unregister();
    EXPECT_EQ(other.Calls(), 1U) << round;
  }
  EXPECT_EQ(recorder_.Calls(), 0U);
}

TEST_P(RefreshTest, UnregisteringWaitsForARunningCall) {
  struct Slow {
    std::atomic<bool> entered{false}, unregistering{false}, left{false};
  } slow;
  const CGScreenRefreshCallback callback = [](uint32_t, const CGRect*, void* info) {
    auto& state = *static_cast<Slow*>(info);
    state.entered = true;
    while (!state.unregistering) std::this_thread::yield();
    for (int i = 0; i < 100; ++i) (void)test::Capture(CGMainDisplayID(), 0, 0, 64, 64);
    state.left = true;
  };
  ASSERT_EQ(CGRegisterScreenRefreshCallback(callback, &slow), kCGErrorSuccess);
  ASSERT_EQ(recorder_.Register(), kCGErrorSuccess);
  witness_.Fill(0, 0, 5, 5, 1);
  ASSERT_TRUE(test::WaitFor([&] { return slow.entered.load(); }));
  slow.unregistering = true;
  CGUnregisterScreenRefreshCallback(callback, &slow);
  EXPECT_TRUE(slow.left);
}

TEST_P(RefreshTest, ACallbackMayUnregisterItselfAndRegisterAnother) {
  struct Once {
    test::RefreshRecorder* next;
    std::atomic<int> calls{0};
    static void Callback(uint32_t, const CGRect*, void* info) {
      auto& self = *static_cast<Once*>(info);
      ++self.calls;
      CGUnregisterScreenRefreshCallback(Callback, info);
      (void)self.next->Register();  // seen by its being called
    }
  };
  Once once{&recorder_};
  ASSERT_EQ(CGRegisterScreenRefreshCallback(Once::Callback, &once), kCGErrorSuccess);
  EXPECT_TRUE(test::WaitFor([&] {
    witness_.Fill(0, 0, 5, 5, 1);
    witness_.Sync();
    return recorder_.Calls() > 0;
  }));
  EXPECT_EQ(once.calls, 1);
}

}  // namespace
