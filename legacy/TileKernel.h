// The pixels of one tile: read once, summed, and told apart by how many colours they have.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "legacy/TileStream.h"

namespace tiles {

// In the byte order of the stream, row by row.
struct alignas(32) TilePixels {
  std::array<uint16_t, kTilePixels> pixels;
};

struct TileColours {
  Kind kind;                             // kOneColour, kTwoColours, kManyColours
  uint16_t first;                        // the first pixel's; with two colours the stream calls it B
  uint16_t second;                       // the first other one, which the stream calls A; of two colours only
  std::array<uint16_t, kTileSide> mask;  // of two colours only; set bit: `first`
};

// Checksum of a reflected CRC-32 (polynomial 0xEDB88320) without inversions; `start` for no bytes.
[[nodiscard]] uint32_t CRC32(const void* bytes, size_t length, uint32_t start);

// The checksum of a tile of one colour, given as the stream has it.
[[nodiscard]] uint32_t OneColourChecksum(uint16_t colour);

struct ReadResult {
  uint32_t checksum;  // of the tile's bytes
  bool oneColour;     // then only the first pixel was written
};

struct Kernel {
  const char* name;

  // Copies a tile from 16-bit pixels in host order, `rowPixels` a row: each gets the bits of `reductionMask`,
  // then its two bytes are exchanged.
  ReadResult (*readTile)(const uint16_t* source, size_t rowPixels, uint16_t reductionMask, TilePixels& tile);

  // Of a tile of more than one colour.
  TileColours (*findColours)(const TilePixels& tile);
};

// Those that this processor can run; all do the same, the last one is the fastest.
[[nodiscard]] std::span<const Kernel> Kernels();

// For every processor.
extern const Kernel kBasicKernel;

}  // namespace tiles
