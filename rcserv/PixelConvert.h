// Rows of 32-bit pixels turned into 16-bit ones.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace rcserv {

// The top five bits of blue, green and red, in bits 0-4, 5-9 and 10-14. Neither rounds nor dithers; what lies
// above bit 23 is ignored.
constexpr uint16_t ConvertPixel(uint32_t pixel) {
  return static_cast<uint16_t>(((pixel >> 3) & 0x1F) | ((pixel >> 6) & 0x3E0) | ((pixel >> 9) & 0x7C00));
}

// `count` pixels of 4 bytes to as many of 2, as ConvertPixel does it, in the machine's byte order. No
// alignment is asked for; source and destination must not overlap.
using RowFunction = void (*)(const std::byte* source, std::byte* destination, size_t count);

inline void ConvertRowPlain(const std::byte* source, std::byte* destination, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    uint32_t pixel;
    std::memcpy(&pixel, source + i * sizeof pixel, sizeof pixel);
    const uint16_t converted = ConvertPixel(pixel);
    std::memcpy(destination + i * sizeof converted, &converted, sizeof converted);
  }
}

struct RowConverter {
  const char* name;
  RowFunction convert;
};

// Every way that this machine has, the fastest last. They differ in nothing but speed.
std::span<const RowConverter> RowConverters();

// The fastest.
void ConvertRow(const std::byte* source, std::byte* destination, size_t count);

}  // namespace rcserv
