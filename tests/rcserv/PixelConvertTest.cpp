#include "rcserv/PixelConvert.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace rcserv {
namespace {

TEST(PixelConvertTest, KeepsTheTopFiveBitsOfEachComponent) {
  struct Case {
    uint32_t pixel;
    uint16_t converted;
  };
  for (const Case& c :
       {Case{0xFFFFFFFF, 0x7FFF}, Case{0x00F80000, 0x7C00}, Case{0x0000F800, 0x03E0},
        Case{0x000000F8, 0x001F}, Case{0x00070707, 0}, Case{0xFF000000, 0}, Case{0x00080808, 0x0421}}) {
    EXPECT_EQ(ConvertPixel(c.pixel), c.converted) << std::hex << c.pixel;
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
      for (size_t i = 0; i < count; ++i) {
        uint32_t pixel;
        std::memcpy(&pixel, &source[sourceShift + 4 * i], 4);
        const uint16_t converted = ConvertPixel(pixel);
        std::memcpy(&expected[targetShift + 2 * i], &converted, 2);
      }
      converter.convert(&source[sourceShift], &target[targetShift], count);
      ASSERT_EQ(target, expected) << converter.name << ", " << count << " pixels";
    }
  }
}

}  // namespace
}  // namespace rcserv
