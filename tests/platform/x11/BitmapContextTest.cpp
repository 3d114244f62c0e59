// Where images land in a bitmap, against the slowest way to say it.
#include <gtest/gtest.h>

#include "tests/platform/x11/Pictures.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

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

}  // namespace
