#include "rcserv/Bitmap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace rcserv {
namespace {

struct Plane {
  Plane(PixelFormat format, int pixelBytes, int width, int height, std::mt19937& random)
      : stride(width * pixelBytes + static_cast<int>(random() % 13)),
        shift(random() % 4),
        bytes(static_cast<size_t>(stride * height) + 3),
        surface(Surface::CreateSP(format, 1, 1)) {
    for (std::byte& b : bytes) b = static_cast<std::byte>(random());
    surface->set(format, width, height, stride, bytes.data() + shift, Surface::kReadWrite);
  }
  int stride;
  size_t shift;  // so that rows begin at odd addresses, too
  std::vector<std::byte> bytes;
  RefCountedPtrT<Surface> surface;
};

// Random sizes, strides, positions and areas, against a loop over single pixels. Everything outside the area,
// padding included, must keep its bytes.
TEST(BitmapTest, DrawsWhatAPixelLoopDrawsAndNothingElse) {
  std::mt19937 random(7);
  const auto upTo = [&random](int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
  };
  for (int trial = 0; trial < 600; ++trial) {
    const int sourceWidth = 1 + upTo(90), sourceHeight = 1 + upTo(8);
    const int targetWidth = 1 + upTo(90), targetHeight = 1 + upTo(8);
    Plane source(kCaptureFormat, 4, sourceWidth, sourceHeight, random);
    Plane target(kScreenFormat, 2, targetWidth, targetHeight, random);
    std::vector<std::byte> expected = target.bytes;
    // Now and then at an edge's other side.
    const int sx = upTo(sourceWidth + 2) - 1, sy = upTo(sourceHeight + 1);
    const int dx = upTo(targetWidth + 2) - 1, dy = upTo(targetHeight + 1);
    const int w = upTo(100), h = 1 + upTo(10);
    const int clippedW = std::min({w, sourceWidth - sx, targetWidth - dx});
    const int clippedH = std::min({h, sourceHeight - sy, targetHeight - dy});
    const bool draws = std::min({sx, sy, dx, dy}) >= 0 && clippedW > 0 && clippedH > 0;
    for (int y = 0; draws && y < clippedH; ++y) {
      for (int x = 0; x < clippedW; ++x) {
        uint32_t p;
        std::memcpy(&p, source.surface->BitsAt(0, 0) + (sy + y) * source.stride + (sx + x) * 4, 4);
        const unsigned blue = p & 0xFF, green = p >> 8 & 0xFF, red = p >> 16 & 0xFF;
        const auto converted = static_cast<uint16_t>(red / 8 * 1024 + green / 8 * 32 + blue / 8);
        std::memcpy(expected.data() + target.shift + (dy + y) * target.stride + (dx + x) * 2, &converted, 2);
      }
    }
    BitmapT<1> bitmap(target.surface);
    ASSERT_EQ(BitmapT<6>(source.surface).DrawTo(sx, sy, bitmap, dx, dy, w, h, PixelTransformT<6, 1>()), draws)
        << "trial " << trial;
    ASSERT_EQ(target.bytes, expected) << "trial " << trial;
  }
}

TEST(PixelConvertTest, EveryConverterAgreesOnEveryLengthAndEveryAddress) {
  std::mt19937 random(3);
  constexpr size_t kLongest = 130;
  std::vector<std::byte> source(4 * kLongest + 32);
  for (std::byte& b : source) b = static_cast<std::byte>(random());
  for (const RowConverter& converter : RowConverters()) {
    for (size_t count = 0; count <= kLongest; ++count) {
      const size_t sourceShift = random() % 32, targetShift = random() % 32;
      std::vector<std::byte> target(2 * kLongest + 64, std::byte{0x5A});
      std::vector<std::byte> expected = target;
      ConvertRowPlain(&source[sourceShift], &expected[targetShift], count);
      converter.convert(&source[sourceShift], &target[targetShift], count);
      ASSERT_EQ(target, expected) << converter.name << ", " << count << " pixels";
    }
  }
}

}  // namespace
}  // namespace rcserv
