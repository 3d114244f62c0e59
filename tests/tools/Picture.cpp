#include "tests/tools/Picture.h"

#include <png.h>

#include <stdexcept>

namespace test {

Picture ReadPng(const std::string& file) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, file.c_str()) == 0) throw std::runtime_error(image.message);
  image.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> rgb(PNG_IMAGE_SIZE(image));
  if (png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr) == 0)
    throw std::runtime_error(image.message);

  Picture picture{static_cast<int>(image.width), static_cast<int>(image.height), {}};
  for (size_t i = 0; i + 2 < rgb.size(); i += 3) {
    picture.pixels.push_back(static_cast<uint32_t>(rgb[i] << 16 | rgb[i + 1] << 8 | rgb[i + 2]));
  }
  return picture;
}

}  // namespace test
