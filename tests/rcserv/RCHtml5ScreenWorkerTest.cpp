#include "rcserv/RCHtml5ScreenWorker.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "rcserv/RCHtml5DisplayImages.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

// How often this thread has asked for memory. The operators are weak, because the sanitizers bring their own,
// and then nothing is counted.
static thread_local int64_t tAllocations = 0;
__attribute__((weak)) void* operator new(std::size_t size) {
  ++tAllocations;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
__attribute__((weak)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((weak)) void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

// An allocation that is too large returns null under the sanitizers as it does without them.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

namespace rcserv {
namespace {

class ExposedWorker : public RCHtml5Screener::ScreenWorker {
 public:
  using ScreenWorker::CaptureScreen;

  void Refresh(const std::vector<CGRect>& rects) {
    ScreenRefreshCallback(static_cast<uint32_t>(rects.size()), rects.data(), &rect_queue_);
  }
  RectQueue& Queue() { return rect_queue_; }
};

// A desktop of 200 x 150 pixels of noise, of which the worker shows all but a margin at the left and the top.
class RCHtml5ScreenWorkerTest : public testing::Test {
 protected:
  static constexpr int kX = 20, kY = 10, kWidth = 180, kHeight = 140;

  RCHtml5ScreenWorkerTest() : server_({.width = 200, .height = 150}) {
    witness_.FillNoise(0, 0, 200, 150, 1);
    witness_.Sync();
  }

  bool Capture(bool full) {
    changed_.clear();
    return worker_.CaptureScreen(kX, kY, MakeLTRB(0, 0, kWidth, kHeight), target_, changed_, full);
  }
  // Lets the noise's own refreshes arrive, so that the test's are the only ones left.
  void CaptureUntilQuiet() {
    ASSERT_TRUE(Capture(true));
    int quiet = 0;
    while (quiet < 3) {
      witness_.Sync();
      quiet = Capture(false) ? 0 : quiet + 1;
    }
  }
  test::XServer server_;
  test::XClient witness_;
  ExposedWorker worker_;
  BitmapT<1> target_{Surface::CreateSP(kScreenFormat, kWidth, kHeight)};
  std::deque<Rect> changed_;
};

TEST_F(RCHtml5ScreenWorkerTest, RefreshesBecomeOneBoxWithinTheBounds) {
  CaptureUntilQuiet();
  struct Case {
    const char* what;
    std::vector<std::vector<CGRect>> refreshes;
    std::deque<Rect> captured;
  };
  const Case cases[] = {
      {"two refreshes",
       {{CGRectMake(30, 30, 10, 10)}, {CGRectMake(120, 25, 10, 3)}},
       {MakeLTRB(30, 25, 130, 40)}},
      {"two rectangles", {{CGRectMake(50, 50, 1, 1), CGRectMake(60, 60, 1, 1)}}, {MakeLTRB(50, 50, 61, 61)}},
      {"fractions are cut off", {{CGRectMake(50.9, 50.9, 5, 5)}}, {MakeLTRB(50, 50, 55, 55)}},
      {"a point adds nothing",
       {{CGRectMake(190, 140, 0, 0), CGRectMake(50, 50, 2, 2)}},
       {MakeLTRB(50, 50, 52, 52)}},
      {"a line adds its extent",
       {{CGRectMake(40, 40, 0, 30), CGRectMake(50, 50, 2, 2)}},
       {MakeLTRB(40, 40, 52, 70)}},
      {"a line alone", {{CGRectMake(40, 40, 0, 30)}}, {}},
      {"beyond two edges", {{CGRectMake(0, 0, 25, 15)}}, {MakeLTRB(20, 10, 25, 15)}},
      {"larger than everything", {{CGRectMake(-1e12, -1e12, 1e13, 1e13)}}, {MakeLTRB(20, 10, 200, 150)}},
      {"outside", {{CGRectMake(0, 0, 20, 150)}}, {}},
      {"nothing", {{}}, {}},
  };
  for (const Case& c : cases) {
    for (const auto& rects : c.refreshes) worker_.Refresh(rects);
    EXPECT_EQ(Capture(false), !c.captured.empty()) << c.what;
    EXPECT_EQ(changed_, c.captured) << c.what;
    EXPECT_FALSE(Capture(false)) << c.what << ": it was fetched";
  }
  ExposedWorker::ScreenRefreshCallback(1, nullptr, &worker_.Queue());
  EXPECT_FALSE(Capture(false)) << "no rectangles";
}

TEST_F(RCHtml5ScreenWorkerTest, ASteadyStreamOfUpdatesAllocatesNothing) {
  CaptureUntilQuiet();
  const std::vector<CGRect> rects = {CGRectMake(33, 47, 101, 59)};
  for (int i = 0; i < 3; ++i) {
    worker_.Refresh(rects);
    ASSERT_TRUE(Capture(false));
  }
  const int64_t before = tAllocations;
  for (int i = 0; i < 200; ++i) {
    worker_.Refresh(rects);
    ASSERT_TRUE(Capture(false));
  }
  EXPECT_EQ(tAllocations - before, 0);
}

TEST_F(RCHtml5ScreenWorkerTest, WhatCouldNotBeCapturedIsTriedAgainEvenAHugeDesktop) {
  CaptureUntilQuiet();
  changed_.clear();
  EXPECT_FALSE(
      worker_.CaptureScreen(0, 0, MakeLTRB(0, 0, 2'000'000'000, 2'000'000'000), target_, changed_, true));
  EXPECT_TRUE(Capture(false)) << "what could not be captured is still to be done";
  EXPECT_EQ(changed_, std::deque<Rect>{MakeLTRB(20, 10, 200, 150)});
}

}  // namespace
}  // namespace rcserv
