// The pixels of tiles as they lie in a frame: summed, told apart by how many colours they have, and copied.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "legacy/TileStream.h"

namespace tiles {

// A tile within 16-bit pixels in host order. Each pixel gets the bits of `reductionMask`, then its two bytes
// are exchanged: what follows speaks of the result.
struct TileSource {
  const uint16_t* corner;
  size_t rowPixels;
  uint16_t reductionMask;

  [[nodiscard]] const uint16_t* Row(int row) const { return corner + static_cast<size_t>(row) * rowPixels; }
  // In host order.
  [[nodiscard]] uint16_t Pixel(int row, int column) const {
    return static_cast<uint16_t>(Row(row)[column] | reductionMask);
  }
  // So many tiles to the right.
  [[nodiscard]] TileSource Neighbour(size_t distance) const {
    return {corner + distance * kTileSide, rowPixels, reductionMask};
  }
};

struct TileColours {
  uint16_t first;   // the first pixel's; with two colours the stream calls it B
  uint16_t second;  // of two colours only: the other one, which the stream calls A
};

// Checksum of a reflected CRC-32 (polynomial 0xEDB88320) without inversions; `start` for no bytes.
[[nodiscard]] uint32_t CRC32(const void* bytes, size_t length, uint32_t start);

// Of a tile that has only that colour, given as the stream has it.
[[nodiscard]] uint32_t OneColourChecksum(uint16_t colour);

struct Kernel {
  const char* name;

  // Of the tile and of those to the right of it.
  void (*sumTiles)(const TileSource& first, std::span<uint32_t> checksums);

  // Returns kOneColour, kTwoColours, or kManyColours, which leaves the colours open.
  Kind (*findColours)(const TileSource& tile, TileColours& colours);

  // kMaskBytes; set bits: pixels of that colour.
  void (*writeMask)(const TileSource& tile, uint16_t colour, uint8_t* to);

  // kTileBytes, row by row.
  void (*copyPixels)(const TileSource& tile, uint8_t* to);
};

// Those that this processor can run; all do the same, the last one is the fastest.
[[nodiscard]] std::span<const Kernel> Kernels();

// For every processor.
extern const Kernel kBasicKernel;

}  // namespace tiles
