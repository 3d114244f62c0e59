// The messages around the tile stream.
#pragma once
#include <cstdint>
#include <functional>
#include <span>

#include "legacy/TileStream.h"

namespace tiles {

// Takes one message, borrowed for the call.
using Send = std::function<void(std::span<const uint8_t>)>;

// Size and pixel format of the desktop; `depth` in bits a pixel.
void SendDesktop(int32_t width, int32_t height, uint32_t depth, const PixelMasks& masks, const Send& send);

// The header, right and bottom inclusive, and the stream in pieces. A frame without pixels is a header of
// zeros.
void SendFrame(int32_t left, int32_t top, int32_t right, int32_t bottom, uint16_t sequence,
               std::span<const uint8_t> stream, const Send& send);

}  // namespace tiles
