#include "tools/PngFile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/Picture.h"

namespace {

TEST(PngFileTest, EveryPixelComesBackFromAPaddedScreen) {
  constexpr int kWidth = 7, kHeight = 5, kStride = 24;
  std::vector<std::byte> screen(kStride * kHeight, std::byte{0xAA});
  std::vector<uint32_t> expected;
  for (uint32_t i = 0; i < kWidth * kHeight; ++i) {
    const auto pixel = static_cast<uint16_t>(i * 947 & 0x7FFF);
    std::memcpy(&screen[i / kWidth * kStride + i % kWidth * 2], &pixel, sizeof pixel);
    const uint32_t red = pixel >> 10, green = pixel >> 5 & 31U, blue = pixel & 31U;
    expected.push_back(test::ThroughFiveBits(red << 19 | green << 11 | blue << 3));
  }

  const test::TemporaryFolder folder;
  std::ofstream(folder / "a.png") << "what a link leads to is replaced, not the link";
  std::filesystem::create_symlink("a.png", folder / "link");
  ASSERT_EQ(tools::WritePng(folder / "link", screen.data(), kWidth, kHeight, kStride, tiles::kPixels555), "");
  const test::Picture picture = test::ReadPng(folder / "a.png");
  EXPECT_EQ(picture.width, kWidth);
  EXPECT_EQ(picture.height, kHeight);
  EXPECT_EQ(picture.pixels, expected);
}

TEST(PngFileTest, APictureThatCannotBeWrittenLeavesWhatWasThere) {
  const test::TemporaryFolder folder;
  const std::byte pixel[2]{};
  // A folder cannot be replaced by a file: the last step fails.
  std::filesystem::create_directories(folder / "taken/inner");
  EXPECT_NE(tools::WritePng(folder / "taken", pixel, 1, 1, 2, tiles::kPixels555), "");
  EXPECT_TRUE(std::filesystem::exists(folder / "taken/inner"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1)
      << "a half file is left";
}

}  // namespace
