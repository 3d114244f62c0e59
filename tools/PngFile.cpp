#include "tools/PngFile.h"

#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

namespace tools {
namespace {

constexpr mode_t kPictureMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

struct FileCloser {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

namespace fs = std::filesystem;

// A file beside the one that is to be written; removed unless it took that name. A device or a pipe is no
// file to be replaced: it is written itself.
class FileInTheMaking {
 public:
  explicit FileInTheMaking(const std::string& final) : final_(final) {
    std::error_code error;
    const fs::file_status status = fs::status(final, error);
    if (fs::is_other(status)) {
      file_.reset(std::fopen(final.c_str(), "wb"));
      return;
    }
    // A symbolic link stays, and the file behind it is replaced.
    if (fs::exists(status)) final_ = fs::canonical(final, error).string();
    name_ = final_ + ".XXXXXX";
    const int fd = mkstemp(name_.data());
    if (fd < 0) return;
    file_.reset(fdopen(fd, "wb"));
  }
  ~FileInTheMaking() {
    if (file_ && !name_.empty()) std::remove(name_.c_str());
  }
  FileInTheMaking(const FileInTheMaking&) = delete;
  FileInTheMaking& operator=(const FileInTheMaking&) = delete;

  [[nodiscard]] std::FILE* Stream() const { return file_.get(); }

  [[nodiscard]] bool TakeName() {
    if (std::fflush(file_.get()) != 0) return false;
    if (name_.empty()) return true;
    if (fchmod(fileno(file_.get()), kPictureMode) != 0 || std::rename(name_.c_str(), final_.c_str()) != 0) {
      return false;
    }
    file_.reset();
    return true;
  }

 private:
  std::string final_;
  std::string name_;  // empty: `final_` is written itself
  std::unique_ptr<std::FILE, FileCloser> file_;
};

// A colour's bits as eight, so that the brightest becomes 255.
std::uint8_t Widen(std::uint16_t pixel, std::uint32_t mask) {
  const int bits = std::popcount(mask);
  const unsigned value = (pixel & mask) >> std::countr_zero(mask);
  return static_cast<std::uint8_t>(value << (8 - bits) | value >> (2 * bits - 8));
}

std::vector<std::uint8_t> ToRgb(const std::byte* pixels, int width, int height, std::ptrdiff_t strideBytes,
                                const tiles::PixelMasks& masks) {
  std::vector<std::uint8_t> rgb;
  rgb.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
  for (int y = 0; y < height; ++y) {
    const std::byte* row = pixels + y * strideBytes;
    for (int x = 0; x < width; ++x) {
      std::uint16_t pixel = 0;
      std::memcpy(&pixel, row + std::ptrdiff_t{x} * 2, sizeof pixel);
      for (const std::uint32_t mask : {masks.kRedMask, masks.kGreenMask, masks.kBlueMask})
        rgb.push_back(Widen(pixel, mask));
    }
  }
  return rgb;
}

}  // namespace

std::string WritePng(const std::string& file, const std::byte* pixels, int width, int height,
                     std::ptrdiff_t strideBytes, const tiles::PixelMasks& masks) {
  FileInTheMaking making(file);
  if (making.Stream() == nullptr) return std::strerror(errno);

  png_image picture{};
  picture.version = PNG_IMAGE_VERSION;
  picture.width = static_cast<png_uint_32>(width);
  picture.height = static_cast<png_uint_32>(height);
  picture.format = PNG_FORMAT_RGB;
  const std::vector<std::uint8_t> rgb = ToRgb(pixels, width, height, strideBytes, masks);
  if (png_image_write_to_stdio(&picture, making.Stream(), 0, rgb.data(), 0, nullptr) == 0)
    return picture.message;
  return making.TakeName() ? std::string() : std::strerror(errno);
}

}  // namespace tools
