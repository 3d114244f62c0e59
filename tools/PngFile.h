// Writes pixels of the shared screen as a PNG file.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

namespace tools {

// `height` rows of `width` 16-bit pixels, `strideBytes` apart: blue in bits 0-4, green in 5-9, red in 10-14.
// The file appears whole or not at all; what stood there is replaced, but for a device or a pipe, which is
// written. Empty on success, else what went wrong, in words.
[[nodiscard]] std::string WritePng(const std::string& file, const std::byte* pixels, int width, int height,
                                   std::ptrdiff_t strideBytes);

}  // namespace tools
