#include "rcserv/Bitmap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace rcserv {
namespace {

using Transform = PixelTransformT<6, 1>;

template <int Format>
BitmapT<Format> MakeBitmap(int width, int height) {
  return BitmapT<Format>(Surface::CreateSP(static_cast<PixelFormat>(Format), width, height));
}

TEST(BitmapTest, HoldsOnlySurfacesOfItsFormat) {
  const auto surface = Surface::CreateSP(kCaptureFormat, 2, 2);
  EXPECT_TRUE(BitmapT<6>(surface));
  EXPECT_FALSE(BitmapT<1>(surface));
  EXPECT_FALSE(BitmapT<1>(RefCountedPtrT<Surface>()));
}

TEST(BitmapTest, ClipsSizesAndRejectsOriginsOutside) {
  const auto bitmap = MakeBitmap<1>(10, 5);
  struct Case {
    int x, y, w, h;
    bool accepted;
    int clippedW, clippedH;
  };
  constexpr int kMax = std::numeric_limits<int>::max();
  for (const Case& c :
       {Case{0, 0, 10, 5, true, 10, 5}, Case{9, 4, 10, 10, true, 1, 1}, Case{3, 1, kMax, kMax, true, 7, 4},
        Case{-1, 0, 5, 5, false, 5, 5}, Case{0, -1, 5, 5, false, 5, 5}, Case{10, 0, 1, 1, false, 1, 1},
        Case{0, 5, 1, 1, false, 1, 1}, Case{0, 0, 0, 1, false, 0, 1}, Case{0, 0, 1, -3, false, 1, -3}}) {
    int w = c.w;
    int h = c.h;
    EXPECT_EQ(bitmap.ClipToBitmap(c.x, c.y, &w, &h), c.accepted) << c.x << "," << c.y;
    EXPECT_EQ(std::pair(w, h), std::pair(c.clippedW, c.clippedH)) << c.x << "," << c.y;
  }
}

TEST(BitmapTest, AReadOnlyDestinationStaysAsItIs) {
  std::vector<uint16_t> memory(16, 0xABCD);
  const auto surface = Surface::CreateSP(kScreenFormat, 1, 1);
  surface->set(kScreenFormat, 4, 4, 8, memory.data(), Surface::kRead);
  BitmapT<1> target(surface);
  EXPECT_FALSE(MakeBitmap<6>(4, 4).DrawTo(0, 0, target, 0, 0, 4, 4, Transform()));
  EXPECT_TRUE(std::all_of(memory.begin(), memory.end(), [](uint16_t p) { return p == 0xABCD; }));
}

// Random sizes, strides, positions and areas, against a loop over single pixels. The buffers lie at odd
// addresses, and everything outside the area, padding included, must keep its bytes.
TEST(BitmapTest, DrawsWhatAPixelLoopDrawsAndNothingElse) {
  std::mt19937 random(7);
  const auto upTo = [&random](int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
  };
  for (int trial = 0; trial < 300; ++trial) {
    const int sourceWidth = 1 + upTo(90), sourceHeight = 1 + upTo(8);
    const int targetWidth = 1 + upTo(90), targetHeight = 1 + upTo(8);
    const int sourceStride = sourceWidth * 4 + upTo(13), targetStride = targetWidth * 2 + upTo(13);
    std::vector<std::byte> from(static_cast<size_t>(sourceStride * sourceHeight + 3));
    std::vector<std::byte> to(static_cast<size_t>(targetStride * targetHeight + 3));
    for (std::byte& b : from) b = static_cast<std::byte>(random());
    for (std::byte& b : to) b = static_cast<std::byte>(random());
    const int shift = upTo(4);
    std::vector<std::byte> expected = to;

    const int sx = upTo(sourceWidth), sy = upTo(sourceHeight), dx = upTo(targetWidth),
              dy = upTo(targetHeight);
    const int w = 1 + upTo(100), h = 1 + upTo(10);
    for (int y = 0; y < std::min({h, sourceHeight - sy, targetHeight - dy}); ++y) {
      for (int x = 0; x < std::min({w, sourceWidth - sx, targetWidth - dx}); ++x) {
        uint32_t p;
        std::memcpy(&p, from.data() + shift + (sy + y) * sourceStride + (sx + x) * 4, 4);
        const unsigned blue = p & 0xFF, green = p >> 8 & 0xFF, red = p >> 16 & 0xFF;
        const auto converted = static_cast<uint16_t>(red / 8 * 1024 + green / 8 * 32 + blue / 8);
        std::memcpy(expected.data() + shift + (dy + y) * targetStride + (dx + x) * 2, &converted, 2);
      }
    }

    const auto sourceSurface = Surface::CreateSP(kCaptureFormat, 1, 1);
    sourceSurface->set(kCaptureFormat, sourceWidth, sourceHeight, sourceStride, from.data() + shift,
                       Surface::kRead);
    const auto targetSurface = Surface::CreateSP(kScreenFormat, 1, 1);
    targetSurface->set(kScreenFormat, targetWidth, targetHeight, targetStride, to.data() + shift,
                       Surface::kReadWrite);
    BitmapT<1> target(targetSurface);
    ASSERT_TRUE(BitmapT<6>(sourceSurface).DrawTo(sx, sy, target, dx, dy, w, h, Transform()));
    ASSERT_EQ(to, expected) << "trial " << trial;
  }
}

}  // namespace
}  // namespace rcserv
