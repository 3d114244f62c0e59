// Where images land in a bitmap, against the slowest way to say it.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/platform/x11/Pictures.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

using test::Context;
using test::ContextOver;
using test::Image;

constexpr uint32_t kUntouched = 0xdeadbeef;
constexpr uint32_t kColours = 0xffffff;

size_t At(int column, int row, int width) {
  return static_cast<size_t>(row) * static_cast<size_t>(width) + static_cast<size_t>(column);
}

class BitmapContextTest : public testing::Test {
 protected:
  // A picture of noise, and its pixels from the witness.
  Image Picture(int width, int height) {
    witness_.FillNoise(0, 0, width, height, 7);
    witness_.Sync();
    picture_ = witness_.Read(0, 0, width, height);
    return test::Capture(CGMainDisplayID(), 0, 0, width, height);
  }

  test::XServer server_{{.width = 320, .height = 240}};
  test::XClient witness_;
  std::vector<uint32_t> picture_;
};

TEST_F(BitmapContextTest, AnImageOfItsOwnSizeIsCopiedUprightFromTheBottomLeft) {
  const int width = 40;
  const int height = 30;
  const int rowPixels = 43;  // rows are longer than the picture
  const Image image = Picture(13, 9);
  ASSERT_TRUE(image);
  struct {
    int x, y;
  } const places[] = {{0, 0},    {5, 3},  {27, 21}, {-4, 2}, {35, 25},
                      {-12, -8}, {3, -8}, {39, 29}, {40, 0}, {0, -9}};
  for (const auto& place : places) {
    SCOPED_TRACE(testing::Message() << "at " << place.x << "," << place.y);
    std::vector<uint32_t> pixels(size_t{rowPixels} * height, kUntouched);
    CGContextDrawImage(ContextOver(pixels.data(), width, height, rowPixels).get(),
                       CGRectMake(place.x, place.y, 13, 9), image.get());
    for (int row = 0; row < height; ++row) {
      for (int column = 0; column < rowPixels; ++column) {
        const int imageColumn = column - place.x;
        const int imageRow = row - (height - place.y - 9);  // y counts upwards from the bottom
        const bool covered =
            column < width && imageColumn >= 0 && imageColumn < 13 && imageRow >= 0 && imageRow < 9;
        const uint32_t pixel = pixels.at(At(column, row, rowPixels));
        ASSERT_EQ(covered ? pixel & kColours : pixel,
                  covered ? picture_.at(At(imageColumn, imageRow, 13)) : kUntouched)
            << column << "," << row;
      }
    }
  }
}

TEST_F(BitmapContextTest, HostileRectanglesTouchNothingOutside) {
  const Image image = Picture(16, 16);
  const double huge = std::numeric_limits<double>::max();
  const double infinity = std::numeric_limits<double>::infinity();
  const CGRect rects[] = {CGRectMake(std::nan(""), 0, 16, 16),    CGRectMake(0, 0, std::nan(""), 16),
                          CGRectMake(-infinity, 0, infinity, 16), CGRectMake(-huge, -huge, huge, huge),
                          CGRectMake(-1e9, -1e9, 2e9, 2e9),       CGRectMake(2147483640.0, 0, 16, 16),
                          CGRectMake(0, 0, 1e-9, 1e-9),           CGRectMake(0, 0, -1e9, 3)};
  for (const CGRect& rect : rects) {
    std::vector<uint32_t> pixels(size_t{64} * 66, kUntouched);
    CGContextDrawImage(ContextOver(pixels.data() + 64, 64, 64).get(), rect, image.get());
    for (size_t i = 0; i < 64; ++i) {
      ASSERT_EQ(pixels[i], kUntouched) << "row " << &rect - rects;
      ASSERT_EQ(pixels[size_t{64} * 65 + i], kUntouched) << "row " << &rect - rects;
    }
  }
  std::vector<uint32_t> pixel = {kUntouched};
  CGContextDrawImage(nullptr, CGRectMake(0, 0, 1, 1), image.get());
  CGContextDrawImage(ContextOver(pixel.data(), 1, 1).get(), CGRectMake(0, 0, 1, 1), nullptr);
  EXPECT_EQ(pixel[0], kUntouched);
}

TEST(BitmapContextLayoutTest, OnlyTheOneLayoutIsTaken) {
  uint32_t pixels[64] = {};
  const CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
  struct {
    const char* what;
    void* data;
    size_t width, height, bits, bytesPerRow;
    CGColorSpaceRef space;
    CGBitmapInfo info;
    bool taken;
  } const rows[] = {
      {"the layout", pixels, 8, 8, 8, 32, rgb, 0x2006, true},
      {"no memory", nullptr, 8, 8, 8, 32, rgb, 0x2006, false},
      {"no width", pixels, 0, 8, 8, 32, rgb, 0x2006, false},
      {"a short row", pixels, 8, 8, 8, 28, rgb, 0x2006, false},
      {"an odd row", pixels, 7, 8, 8, 30, rgb, 0x2006, false},
      {"five bits", pixels, 8, 8, 5, 32, rgb, 0x2006, false},
      {"no colour space", pixels, 8, 8, 8, 32, nullptr, 0x2006, false},
      {"alpha", pixels, 8, 8, 8, 32, rgb, 0x2002, false},
      {"the other byte order", pixels, 8, 8, 8, 32, rgb, 0x4006, false},
      {"a width that overflows", pixels, ~size_t{0} / 2, 8, 8, 32, rgb, 0x2006, false},
  };
  for (const auto& row : rows) {
    const Context context(CGBitmapContextCreate(row.data, row.width, row.height, row.bits, row.bytesPerRow,
                                                row.space, row.info));
    EXPECT_EQ(context != nullptr, row.taken) << row.what;
  }
  CGColorSpaceRelease(rgb);
}

}  // namespace
