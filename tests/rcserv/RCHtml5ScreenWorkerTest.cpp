#include "rcserv/RCHtml5ScreenWorker.h"

#include <gtest/gtest.h>

#include <cstring>

#include "rcserv/RCHtml5DisplayImages.h"
#include "tests/rcserv/AllocationCount.h"
#include "tests/rcserv/ScreenFolder.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

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
  uint16_t PixelAt(int x, int y) {
    uint16_t pixel = 0;
    std::memcpy(&pixel, target_->BitsAt(x, y), sizeof pixel);
    return pixel;
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
}

TEST_F(RCHtml5ScreenWorkerTest, ACallbackWithoutArgumentsIsIgnored) {
  const CGRect rect = CGRectMake(50, 50, 5, 5);
  CaptureUntilQuiet();
  ExposedWorker::ScreenRefreshCallback(1, nullptr, &worker_.Queue());
  ExposedWorker::ScreenRefreshCallback(1, &rect, nullptr);
  ExposedWorker::ScreenRefreshCallback(0, &rect, &worker_.Queue());
  EXPECT_FALSE(Capture(false));
}

TEST_F(RCHtml5ScreenWorkerTest, APartIsWrittenToItsPlaceAndNothingElse) {
  CaptureUntilQuiet();
  const std::vector<uint32_t> desktop = witness_.Read(0, 0, 200, 150);
  std::memset(target_->BitsAt(0, 0), 0xEE, static_cast<size_t>(target_->stride()) * kHeight);
  worker_.Refresh({CGRectMake(33, 47, 101, 59)});
  ASSERT_TRUE(Capture(false));
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const int left = x + kX, top = y + kY;
      const bool inside = left >= 33 && left < 134 && top >= 47 && top < 106;
      const uint16_t expected =
          inside ? ConvertPixel(desktop[static_cast<size_t>(top * 200 + left)]) : uint16_t{0xEEEE};
      ASSERT_EQ(PixelAt(x, y), expected) << x << "," << y;
    }
  }
}

TEST_F(RCHtml5ScreenWorkerTest, ASteadyStreamOfUpdatesAllocatesNothing) {
  CaptureUntilQuiet();
  const std::vector<CGRect> rects = {CGRectMake(33, 47, 101, 59)};
  for (int i = 0; i < 3; ++i) {
    worker_.Refresh(rects);
    ASSERT_TRUE(Capture(false));
  }
  const int64_t before = test::AllocationsOfThisThread();
  for (int i = 0; i < 200; ++i) {
    worker_.Refresh(rects);
    ASSERT_TRUE(Capture(false));
  }
  EXPECT_EQ(test::AllocationsOfThisThread() - before, 0);
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
