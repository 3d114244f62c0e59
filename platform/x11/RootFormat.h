// How the server lays out the pixels of the root window.
#pragma once
#include <pixman.h>

#include <cstddef>
#include <optional>

namespace platform::x11 {

class Connection;

struct RootFormat {
  pixman_format_code_t pixels = PIXMAN_x8r8g8b8;
  size_t bitsPerPixel = 0;
  size_t rowUnitBits = 0;  // a row is a multiple of these

  [[nodiscard]] size_t StrideBytes(int width) const {
    return (static_cast<size_t>(width) * bitsPerPixel + rowUnitBits - 1) / rowUnitBits * rowUnitBits / 8;
  }
};

// Nothing for a layout that pixman does not read, as a colour map or the other byte order; the first such
// answer of the process is logged.
[[nodiscard]] std::optional<RootFormat> ReadRootFormat(const Connection& connection);

// Of any layout.
[[nodiscard]] size_t RootBitsPerPixel(const Connection& connection);

}  // namespace platform::x11
