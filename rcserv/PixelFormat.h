// The pixel formats of surfaces, by number, and how many bits a pixel takes in each.
#pragma once
#include <array>
#include <cstdint>

namespace rcserv {

// 1 to 9 are valid; the two that pixels are converted between have a name.
enum PixelFormat : int32_t {
  // 16 bits: blue in bits 0-4, green in 5-9, red in 10-14, bit 15 zero.
  kScreenFormat = 1,
  // 32 bits: blue in bits 0-7, green in 8-15, red in 16-23; bits 24-31 hold anything.
  kCaptureFormat = 6
};

inline constexpr std::array<int, 9> kBitsPerPixel = {16, 16, 16, 8, 16, 32, 32, 32, 32};

// 0 for a format that does not exist.
constexpr int BitsPerPixel(PixelFormat format) {
  return format >= 1 && format <= 9 ? kBitsPerPixel[static_cast<size_t>(format) - 1] : 0;
}

// Bytes of a row of `width` pixels, filled up to a multiple of 4.
constexpr int64_t PaddedStride(PixelFormat format, int64_t width) {
  return (width * BitsPerPixel(format) + 31) / 32 * 4;
}

}  // namespace rcserv
