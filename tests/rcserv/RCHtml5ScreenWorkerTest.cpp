#include "rcserv/RCHtml5ScreenWorker.h"

#include <gtest/gtest.h>

#include "rcserv/RCHtml5DisplayImages.h"
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

  test::XServer server_;
  test::XClient witness_;
  ExposedWorker worker_;
  BitmapT<1> target_{Surface::CreateSP(kScreenFormat, kWidth, kHeight)};
  std::deque<Rect> changed_;
};

TEST_F(RCHtml5ScreenWorkerTest, RefreshesBecomeOneBoxWithinTheBounds) {
  ASSERT_TRUE(Capture(true));
  // Lets the noise's own refreshes arrive, so that the test's are the only ones left.
  for (int quiet = 0; quiet < 3; quiet = Capture(false) ? 0 : quiet + 1) witness_.Sync();
  struct Case {
    const char* what;
    std::vector<std::vector<CGRect>> refreshes;
    std::deque<Rect> captured;
  };
  const Case cases[] = {
      {"two refreshes",
       {{CGRectMake(30, 30, 10, 10)}, {CGRectMake(120, 25, 10, 3)}},
       {MakeLTRB(30, 25, 130, 40)}},
      {"fractions are cut off", {{CGRectMake(50.9, 50.9, 5, 5)}}, {MakeLTRB(50, 50, 55, 55)}},
      {"beyond two edges", {{CGRectMake(0, 0, 25, 15)}}, {MakeLTRB(20, 10, 25, 15)}},
      {"larger than everything", {{CGRectMake(-1e12, -1e12, 1e13, 1e13)}}, {MakeLTRB(20, 10, 200, 150)}},
      {"outside", {{CGRectMake(0, 0, 20, 150)}}, {}},
  };
  for (const Case& c : cases) {
    for (const auto& rects : c.refreshes) worker_.Refresh(rects);
    EXPECT_EQ(Capture(false), !c.captured.empty()) << c.what;
    EXPECT_EQ(changed_, c.captured) << c.what;
    EXPECT_FALSE(Capture(false)) << c.what << ": it was fetched";
  }
}

}  // namespace
}  // namespace rcserv
