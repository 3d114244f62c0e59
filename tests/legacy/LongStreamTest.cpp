// What an hour of a desktop takes, in seconds: the picture stays true and the memory what it is.
#include <gtest/gtest.h>
#include <malloc.h>

#include <random>

#include "legacy/RCTileDecoder.h"
#include "legacy/TileCoder.h"
#include "legacy/TileMessages.h"

namespace {

using Pixels = std::vector<uint16_t>;

constexpr int kAcross = 20, kDown = 12;  // tiles
constexpr int kWidth = kAcross * 16, kHeight = kDown * 16;

// Both ends of a stream, and the screen between them.
class Desktop {
 public:
  Desktop() {
    tiles::SendDesktop(kWidth, kHeight, 16, tiles::kPixels555, Receiver());
    SendFrame(0, 0, kAcross, kDown);
  }

  // Something small changes, as by a program: an area is filled, written on, scrolled or turned into noise.
  // Its tiles are sent, with some beside it.
  void Change(std::minstd_rand& random) {
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    const int width = 1 + below(below(20) == 0 ? kWidth : 60), height = 1 + below(40);
    const int left = below(kWidth - width + 1), top = below(kHeight - height + 1);
    const int kind = below(8);
    const auto colour = static_cast<uint16_t>(random() & 0x7FFF);
    for (int y = top; y < top + height; ++y) {
      for (int x = left; x < left + width; ++x) {
        if (kind == 0) At(x, y) = static_cast<uint16_t>(random() & 0x7FFF);
        if (kind > 0 && kind < 4) At(x, y) = colour;
        if (kind > 3 && kind < 7) At(x, y) = below(5) == 0 ? colour : 0x7FFF;
        if (kind == 7) At(x, y) = At(x, (y + 1) % kHeight);
      }
    }
    SendFrame(left / 16, top / 16, std::min((left + width + 31) / 16, kAcross), (top + height + 15) / 16);
  }

  [[nodiscard]] bool PictureIsTrue() const { return decoder_.Pixels() == screen_; }

 private:
  uint16_t& At(int x, int y) { return screen_[static_cast<size_t>(y * kWidth + x)]; }

  tiles::Send Receiver() {
    return [this](std::span<const uint8_t> message) {
      ASSERT_NE(decoder_.Take(message), RCTileDecoder::Result::kRefused) << decoder_.Error();
    };
  }

  // In tiles; right and bottom exclusive.
  void SendFrame(int left, int top, int right, int bottom) {
    Pixels part;
    for (int y = top * 16; y < bottom * 16; ++y) {
      const uint16_t* const row = &At(0, y);
      part.insert(part.end(), row + left * 16, row + right * 16);
    }
    const auto stream = coder_.Encode({part.data(), right - left, bottom - top, 0}, [&](int row) {
      return std::span(checksums_).subspan(static_cast<size_t>((top + row) * kAcross + left));
    });
    tiles::SendFrame(left * 16, top * 16, right * 16 - 1, bottom * 16 - 1, ++sequence_, stream, Receiver());
  }

  Pixels screen_ = Pixels(size_t{kWidth} * kHeight);
  std::vector<uint64_t> checksums_ = std::vector<uint64_t>(size_t{kAcross} * kDown, tiles::kNoChecksum);
  tiles::TileCoder coder_;
  RCTileDecoder decoder_;
  uint16_t sequence_ = 0;
};

size_t BytesInUse() {
  const struct mallinfo2 memory = mallinfo2();
  return memory.uordblks + memory.hblkhd;
}

// More frames than there are numbers for them.
TEST(LongStreamTest, NeitherThePictureNorTheMemoryDrifts) {
  constexpr int kFrames = 70000, kSettled = 5000;
  std::minstd_rand random(11);
  Desktop desktop;
  size_t settled = 0;
  for (int frame = 0; frame < kFrames; ++frame) {
    desktop.Change(random);
    if (random() % 10 == 0) {
      ASSERT_TRUE(desktop.PictureIsTrue()) << frame;
    }
    if (frame == kSettled) settled = BytesInUse();
  }
  EXPECT_TRUE(desktop.PictureIsTrue());
  EXPECT_LE(BytesInUse(), settled + 16 * 1024) << "in use after " << kFrames << " frames";
}

}  // namespace
