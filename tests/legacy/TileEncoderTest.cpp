// Frames of a real screen, as they arrive at the service.
#include "legacy/RCTileEncoder.h"

#include <gmock/gmock.h>

#include <optional>

#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "legacy/RCDisplayManager.h"
#include "legacy/RCTileDecoder.h"
#include "observer/RCOculon.h"
#include "tests/support/ServicePort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Pixels = std::vector<uint16_t>;

class TileEncoderTest : public testing::Test {
 protected:
  TileEncoderTest() {
    setenv("KORVANE_PORTS_DIR", (folder_ / "ports").c_str(), 1);
    setenv("TMPDIR", folder_.Path().c_str(), 1);
    ASLSetLogFile((folder_ / "log").c_str());
  }

  // Up to the end of the next frame.
  void Decode() {
    RCTileDecoder::Result result;
    do {
      result = decoder_.Take(service_->Next());
      ASSERT_NE(result, RCTileDecoder::Result::kRefused) << decoder_.Error();
    } while (result != RCTileDecoder::Result::kPicture);
  }
  Pixels ScreenIn15Bits(uint16_t reduction = 0) {
    Pixels pixels;
    for (const uint32_t pixel : witness_.Read(0, 0, kWidth, kHeight)) {
      pixels.push_back(
          static_cast<uint16_t>((pixel >> 9 & 0x7C00) | (pixel >> 6 & 0x3E0) | (pixel >> 3 & 0x1F)) |
          reduction);
    }
    return pixels;
  }
  static Bytes Encoded(RCTileEncoder& encoder, CGRect rect, CGDirectDisplayID display) {
    const StCFTypeRef<CFMutableDataRef> data(encoder.MakeEncodedDataForFrameOfDisplay(rect, display));
    return data == nullptr ? Bytes()
                           : Bytes(CFDataGetBytePtr(data), CFDataGetBytePtr(data) + CFDataGetLength(data));
  }

  static constexpr int kWidth = 640;
  static constexpr int kHeight = 250;
  test::TemporaryFolder folder_;
  test::XServer server_{{.width = kWidth, .height = kHeight}};
  test::XClient witness_;
  RCTileDecoder decoder_;
  std::optional<test::ServicePort> service_;
  RCDisplayManager& displays_ = RCDisplayManager::instance();
};

TEST_F(TileEncoderTest, TwoDisplaysBecomeTheDesktopsPicture) {
  server_.SetMonitors({{"*left", 0, 0, 333, kHeight}, {"right", 333, 0, kWidth - 333, kHeight}});
  witness_.FillNoise(0, 0, kWidth, kHeight, 1);
  witness_.Fill(300, 20, 70, 70, 0xFF00FF);
  witness_.Sync();
  CGDirectDisplayID ids[2];
  uint32_t count = 0;
  ASSERT_EQ(CGGetActiveDisplayList(2, ids, &count), kCGErrorSuccess);
  ASSERT_EQ(count, 2U);
  for (int i = 0; i < 2; ++i) displays_.addDisplay(i, ids[i], CGDisplayBounds(ids[i]));
  service_.emplace();
  RCTileEncoder encoder;
  encoder.SendDimensionsOfAllDisplays(16, displays_.desktopBounds());
  for (const CGDirectDisplayID id : ids) {
    encoder.SendFrameOfDisplay(CGRectMake(0, 0, kWidth, kHeight), id);
    Decode();
  }
  EXPECT_EQ(decoder_.Pixels(), ScreenIn15Bits());

  // Parts of each, where the other one's tiles begin, and again when nothing has changed.
  for (uint32_t round = 0; round < 3; ++round) {
    if (round < 2) witness_.FillNoise(290, 33, 77, 60, 7 + round);
    witness_.Sync();
    for (const CGDirectDisplayID id : ids) {
      const CGRect rect = CGRectMake(285, 30, 90, 70);
      encoder.SendFramesOfDisplay(id, &rect, 1);
      Decode();
    }
    EXPECT_EQ(decoder_.Pixels(), ScreenIn15Bits()) << round;
  }

  encoder.SendFrameOfDisplay(CGRectMake(333, 0, 9, 9), ids[0]);  // not on it
  const Bytes empty = service_->Next();
  EXPECT_EQ(empty, (Bytes{7, 21, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0}))
      << "the ninth frame";
  EXPECT_EQ(decoder_.Take(empty), RCTileDecoder::Result::kNoPixels);

  // What a test pattern has hidden comes back.
  encoder.SendTestPatternFrame(CGRectMake(10, 10, 200, 100));
  Decode();
  EXPECT_NE(decoder_.Pixels(), ScreenIn15Bits());
  encoder.SendFrameOfDisplay(CGRectMake(10, 10, 200, 100), ids[0]);
  Decode();
  EXPECT_EQ(decoder_.Pixels(), ScreenIn15Bits());
}

TEST_F(TileEncoderTest, EveryReductionSetsLowBitsAndAnOriginCanBeNegative) {
  const CGDirectDisplayID id = CGMainDisplayID();
  displays_.addDisplay(0, id, CGRectMake(-37, -7, kWidth, kHeight));
  witness_.FillNoise(0, 0, kWidth, kHeight, 3);
  witness_.Sync();
  service_.emplace();
  decoder_ = RCTileDecoder(-37, -7);
  RCTileEncoder encoder;
  const struct {
    unsigned char viewType;
    uint16_t mask;
  } views[] = {{2, 15 * 0x421}, {3, 7 * 0x421}, {4, 3 * 0x421}, {5, 0x421}, {6, 0}, {0, 0}, {7, 0}};
  for (const auto& view : views) {
    RCOculon::GetOculon()->SetColorReduction(view.viewType);
    encoder.SendDimensionsOfAllDisplays(32, displays_.desktopBounds());
    encoder.SendFrameOfDisplay(CGRectMake(-37, -7, kWidth, kHeight), id);
    Decode();
    EXPECT_EQ(decoder_.Pixels(), ScreenIn15Bits(view.mask)) << int{view.viewType};
  }
  // One row of tiles of the display is longer than a row of the desktop has places.
  const Bytes unchanged = Encoded(encoder, CGRectMake(-37, -7, kWidth, kHeight), id);
  EXPECT_EQ(unchanged, (Bytes{10, 0xB9, 0x02})) << "17 rows of 41";
  witness_.Fill(0, 0, kWidth, kHeight, 0);
  witness_.Sync();
  encoder.SendFrameOfDisplay(CGRectMake(-37, -7, kWidth, kHeight), id);
  Decode();
  EXPECT_THAT(decoder_.Pixels(), testing::Each(0));
}

TEST_F(TileEncoderTest, BytesOfPureColoursAndAFrameThatDidNotChange) {
  const CGDirectDisplayID id = CGMainDisplayID();
  displays_.addDisplay(0, id, CGDisplayBounds(id));
  const uint32_t colours[] = {0xFF0000, 0x00FF00, 0x0000FF};
  for (int i = 0; i < 3; ++i) witness_.Fill(i * 16, 0, 16, 16, colours[i]);
  witness_.Sync();
  RCTileEncoder encoder;
  const CGRect rect = CGRectMake(5, 3, 40, 12);
  const Bytes full = {1, 0x7C, 0x00, 1, 0x03, 0xE0, 1, 0x00, 0x1F};
  EXPECT_EQ(Encoded(encoder, rect, id), full);
  EXPECT_EQ(Encoded(encoder, rect, id), (Bytes{11, 3}));
  encoder.Reset();
  EXPECT_EQ(Encoded(encoder, rect, id), full);
  EXPECT_EQ(Encoded(encoder, rect, id + 5), Bytes()) << "no such display";

  const std::pair<CGRect, CGRect> aligned[] = {{CGRectMake(5, 0, 10, 16), CGRectMake(0, 0, 16, 16)},
                                               {CGRectMake(5, 1, 11, 16), CGRectMake(0, 0, 16, 32)},
                                               {CGRectMake(-1, -17, 2, 1), CGRectMake(-16, -32, 32, 16)},
                                               {CGRectMake(9, 9, 0, 4), CGRectZero}};
  for (const auto& [given, widened] : aligned)
    EXPECT_TRUE(CGRectEqualToRect(RCTileEncoder::AlignToTiles(given), widened));

  EXPECT_NE(displays_.getContextForDisplay(id), nullptr);
  EXPECT_EQ(displays_.getContextForDisplay(id + 5), nullptr);
}

}  // namespace
