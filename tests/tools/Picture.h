// A PNG file as the tests read it.
#pragma once
#include <png.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace test {

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<uint32_t> pixels;  // 0x00RRGGBB, rows from the top
};

// Throws std::runtime_error when the file is missing or no PNG.
inline Picture ReadPng(const std::string& file) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, file.c_str()) == 0) throw std::runtime_error(image.message);
  image.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> rgb(PNG_IMAGE_SIZE(image));
  if (png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr) == 0)
    throw std::runtime_error(image.message);

  Picture picture{static_cast<int>(image.width), static_cast<int>(image.height), {}};
  for (size_t i = 0; i + 2 < rgb.size(); i += 3)
    picture.pixels.push_back(static_cast<uint32_t>(rgb[i] << 16 | rgb[i + 1] << 8 | rgb[i + 2]));
  return picture;
}

// What is left of an 8-bit-a-channel pixel that went through the 16-bit screen: five bits a channel, widened
// again.
constexpr uint32_t ThroughFiveBits(uint32_t pixel) {
  uint32_t result = 0;
  for (int shift : {16, 8, 0}) {
    const uint32_t five = pixel >> shift >> 3 & 31U;
    result |= (five << 3 | five >> 2) << shift;
  }
  return result;
}

}  // namespace test
