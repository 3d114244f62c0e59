// The screener's frames of a real screen, as the service's viewer decodes them.
#include "legacy/RCShowScreener.h"

#include <gmock/gmock.h>

#include <optional>

#include "common/KCasl.h"
#include "legacy/FrameWatchdogTimer.h"
#include "legacy/RCTileDecoder.h"
#include "tests/support/MainLoop.h"
#include "tests/support/ServicePort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<uint8_t>;
using testing::HasSubstr;

class ShowScreenerTest : public testing::Test {
 protected:
  static constexpr int kWidth = 650;
  static constexpr int kHeight = 251;

  ShowScreenerTest() {
    setenv("KORVANE_PORTS_DIR", (folder_ / "ports").c_str(), 1);
    setenv("KORVANE_PREFERENCES_DIR", (folder_ / "preferences").c_str(), 1);
    ASLSetLogFile((folder_ / "log").c_str());
    ASLWriteToStdErr(0);
    server_.SetMonitors({{"*left", 0, 0, 333, kHeight}, {"right", 333, 0, kWidth - 333, kHeight}});
    port_.emplace();
  }

  [[nodiscard]] std::string Log() const { return test::FileText(folder_ / "log"); }

  // The first message of a start: width, height and depth.
  std::vector<int> Desktop() {
    const Bytes message = port_->Next();
    EXPECT_EQ(decoder_.Take(message), RCTileDecoder::Result::kDesktop) << decoder_.Error();
    std::vector<int> numbers;
    for (size_t at = 3; at + 1 < message.size(); at += 2)
      numbers.push_back(message[at] | message[at + 1] << 8);
    return numbers;
  }
  void DecodePicture() {
    RCTileDecoder::Result result;
    do {
      result = decoder_.Take(port_->Next());
      ASSERT_NE(result, RCTileDecoder::Result::kRefused) << decoder_.Error();
    } while (result != RCTileDecoder::Result::kPicture);
  }
  // Decodes what comes while the main loop runs.
  void ExpectTheScreen() {
    std::vector<uint16_t> screen;
    for (const uint32_t pixel : witness_.Read(0, 0, kWidth, kHeight))
      screen.push_back(
          static_cast<uint16_t>((pixel >> 9 & 0x7C00) | (pixel >> 6 & 0x3E0) | (pixel >> 3 & 0x1F)));
    EXPECT_TRUE(test::RunMainLoopUntil([&] {
      while (port_->HasNext())
        EXPECT_NE(decoder_.Take(port_->Next()), RCTileDecoder::Result::kRefused) << decoder_.Error();
      return decoder_.Pixels() == screen;
    }));
  }

  test::TemporaryFolder folder_;
  test::XServer server_{{.width = kWidth, .height = kHeight}};
  test::XClient witness_;
  std::optional<test::ServicePort> port_;
  RCTileDecoder decoder_;
  RCShowScreener screener_;
};

TEST_F(ShowScreenerTest, TwoDisplaysArriveInFullAtEveryStartAndThenWhatChanges) {
  for (uint32_t round = 0; round < 3; ++round) {
    witness_.FillNoise(0, 0, kWidth, kHeight, round);
    witness_.Sync();
    screener_.StartScreening(uint8_t{6});
    EXPECT_TRUE(screener_.Screening());
    decoder_ = RCTileDecoder();
    EXPECT_EQ(Desktop(), (std::vector<int>{kWidth, kHeight, 16}));
    ExpectTheScreen();
    for (uint32_t step = 0; step < 3; ++step) {
      witness_.FillNoise(300, 90, 70, 120, 7 + step);
      witness_.Sync();
      ExpectTheScreen();
    }
    screener_.StopScreening(false);
    EXPECT_FALSE(screener_.Screening());
    port_.emplace();
  }
}

TEST_F(ShowScreenerTest, ATestPictureCoversAllDisplays) {
  screener_.SendTestPatternFrameOfAllDisplays();
  for (int display = 0; display < 2; ++display) DecodePicture();
  const auto pixel = [&](int x, int y) { return decoder_.Pixels()[static_cast<size_t>(y * kWidth + x)]; };
  for (const int x : {0, 332, 333, kWidth - 1})
    for (const int y : {0, kHeight - 1}) EXPECT_EQ(pixel(x, y), 0x7FFF) << x << " " << y;
}

TEST_F(ShowScreenerTest, AChangeOfWhatIsPendingAlreadyIsSentInWholeTiles) {
  screener_.StartScreening(16, 0);
  for (int display = 0; display < 2; ++display) DecodePicture();
  witness_.Fill(20, 30, 50, 40, 0xFF0000);
  witness_.Sync();
  EXPECT_FALSE(test::WaitFor([&] { return port_->HasNext(); }, 300ms)) << "the watchdog does not run here";
  witness_.Fill(30, 30, 10, 40, 0x00FF00);
  witness_.Sync();
  EXPECT_EQ(port_->Next(), (Bytes{7, 21, 0, 16, 0, 0, 0, 16, 0, 0, 0, 79, 0, 0, 0, 79, 0, 0, 0, 3, 0}));
}

TEST_F(ShowScreenerTest, ATimeoutSendsOneEmptyFrameForAllDisplays) {
  screener_.StartScreening(16, 0);
  for (int display = 0; display < 2; ++display) DecodePicture();
  uint8_t timeouts = 0;
  uint8_t frames = 0;
  const auto takeFrame = [&] {
    Bytes empty(21, 0);
    empty[0] = 7, empty[1] = 21, empty[19] = static_cast<uint8_t>(3 + frames++);
    EXPECT_EQ(port_->Next(), empty);
  };
  while (frames < 4) {
    ASSERT_TRUE(test::WaitFor([&] {
      if (!FrameWatchdogTimer::m_didTimeOut.exchange(true)) ++timeouts;
      screener_.SignalScreenChanges();
      return port_->HasNext();
    }));
    takeFrame();
  }
  screener_.StopScreening(false);
  while (port_->HasNext()) takeFrame();
  EXPECT_LE(frames, timeouts);
}

TEST_F(ShowScreenerTest, ATimeoutThatCameJustBeforeTheWaitIsNotLost) {
  screener_.StartScreening(16, 0);
  for (int display = 0; display < 2; ++display) DecodePicture();
  FrameWatchdogTimer::m_didTimeOut = true;
  EXPECT_TRUE(test::RunMainLoopUntil([&] { return port_->HasNext(); }));
}

TEST_F(ShowScreenerTest, AViewInAnotherModeGivesTheOldOneBackWhereThatIsStillThere) {
  server_.SetMonitors({});
  const CGDirectDisplayID display = CGMainDisplayID();
  const CFDictionaryRef original = CGDisplayCurrentMode(display);
  const auto addMode = [&](const char* name, const char* width) {
    EXPECT_EQ(server_.Run(
                  {"xrandr", "--newmode", name, "9", width, "650", "651", "652", "200", "201", "202", "203"}),
              0);
    EXPECT_EQ(server_.Run({"xrandr", "--addmode", "screen", name}), 0);
    EXPECT_EQ(server_.Run({"xrandr", "--output", "screen", "--mode", name}), 0);
    return CGDisplayCurrentMode(display);
  };
  const CFDictionaryRef narrow = addMode("narrow", "320");
  const CFDictionaryRef wide = addMode("wide", "600");
  ASSERT_EQ(CGDisplaySwitchToMode(display, original), kCGErrorSuccess);

  for (const CFDictionaryRef mode : {narrow, wide})
    ASSERT_EQ(screener_.SwitchDisplayToMode(display, mode), 0);
  port_.emplace();
  screener_.StartScreening(16, 0);
  EXPECT_EQ(Desktop(), (std::vector<int>{600, 200, 16}));
  screener_.StopScreening(false);
  EXPECT_EQ(CGDisplayCurrentMode(display), original);
  EXPECT_EQ(witness_.Read(0, 0, kWidth, kHeight).size(), size_t{kWidth} * kHeight);
  EXPECT_THAT(Log(), Not(HasSubstr("CGDisplaySwitchToMode")));

  ASSERT_EQ(CGDisplaySwitchToMode(display, narrow), kCGErrorSuccess);
  ASSERT_EQ(screener_.SwitchDisplayToMode(display, wide), kCGErrorSuccess);
  ASSERT_EQ(server_.Run({"xrandr", "--delmode", "screen", "narrow"}), 0);
  const auto view = [&] {
    port_.emplace();
    screener_.StartScreening(16, 0);
    screener_.StopScreening(false);
    return Log();
  };
  const std::string log = view();
  const size_t line = log.find("myCFDictionaryApplierFunction: CGDisplaySwitchToMode: err=1001.");
  EXPECT_LT(line, log.rfind("Oculon Metrics Final"));
  EXPECT_EQ(view().find("myCFDictionaryApplierFunction", line + 1), std::string::npos) << "tried once";
  EXPECT_EQ(CGDisplayCurrentMode(display), wide);

  EXPECT_EQ(RCShowScreener().SwitchDisplayToMode(display, original), kCGErrorSuccess);
  EXPECT_EQ(CGDisplayCurrentMode(display), wide) << "without a view, too";
}

TEST_F(ShowScreenerTest, ADepthThatIsNoneIsTheDisplays) {
  const struct { unsigned long given, told; } depths[] = {{24, 32}, {0, 32}, {8, 8}, {32, 32}};
  for (const auto& depth : depths) {
    port_.emplace();
    screener_.StartScreening(depth.given, 0);
    EXPECT_EQ(Desktop(), (std::vector<int>{kWidth, kHeight, static_cast<int>(depth.told)})) << depth.given;
    screener_.StopScreening(false);
  }
  EXPECT_THAT(Log(), HasSubstr("StartScreening: Bad pixel depth=24; setting to current depth."));
  EXPECT_THAT(Log(), HasSubstr("Oculon Metrics Final: average 0.0 ups  0.0 Mbps"));
}

}  // namespace
