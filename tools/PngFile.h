// Writes pixels of a screen as a PNG file.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

#include "legacy/TileStream.h"

namespace tools {

// `height` rows of `width` 16-bit pixels, `strideBytes` apart; `masks` say where in them a colour's bits lie,
// of which there are 5 or 6. The file appears whole or not at all; what stood there is replaced, but for a
// device or a pipe, which is written. Empty on success, else what went wrong, in words.
[[nodiscard]] std::string WritePng(const std::string& file, const std::byte* pixels, int width, int height,
                                   std::ptrdiff_t strideBytes, const tiles::PixelMasks& masks);

}  // namespace tools
