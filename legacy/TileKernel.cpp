#include "legacy/TileKernel.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tiles {
namespace {

#if defined(__SSE2__)

constexpr size_t kLane = 8;  // pixels in a vector
constexpr int kAllBytes = 0xFFFF;

__m128i Load(const uint16_t* pixels) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels)); }
__m128i Splat(uint16_t pixel) { return _mm_set1_epi16(static_cast<short>(pixel)); }
__m128i SameAs(const uint16_t* pixels, __m128i colour) { return _mm_cmpeq_epi16(Load(pixels), colour); }

void ReadRow(const uint16_t* source, uint16_t reductionMask, uint16_t* row) {
  for (size_t i = 0; i < kTileSide; i += kLane) {
    const __m128i pixels = _mm_or_si128(Load(source + i), Splat(reductionMask));
    _mm_store_si128(reinterpret_cast<__m128i*>(row + i),
                    _mm_or_si128(_mm_slli_epi16(pixels, 8), _mm_srli_epi16(pixels, 8)));
  }
}

// Bit i is set where pixel i has the colour.
uint32_t WhereSame(const uint16_t* row, uint16_t colour) {
  const __m128i wanted = Splat(colour);
  return static_cast<uint32_t>(
      _mm_movemask_epi8(_mm_packs_epi16(SameAs(row, wanted), SameAs(row + kLane, wanted))));
}

bool RowHasOnly(const uint16_t* row, uint16_t a, uint16_t b) {
  const __m128i low = _mm_or_si128(SameAs(row, Splat(a)), SameAs(row, Splat(b)));
  const __m128i high = _mm_or_si128(SameAs(row + kLane, Splat(a)), SameAs(row + kLane, Splat(b)));
  return _mm_movemask_epi8(_mm_and_si128(low, high)) == kAllBytes;
}

#else

void ReadRow(const uint16_t* source, uint16_t reductionMask, uint16_t* row) {
  for (int i = 0; i < kTileSide; ++i) row[i] = ExchangeBytes(source[i] | reductionMask);
}

uint32_t WhereSame(const uint16_t* row, uint16_t colour) {
  uint32_t bits = 0;
  for (int i = 0; i < kTileSide; ++i) bits |= (row[i] == colour ? 1U : 0U) << i;
  return bits;
}

bool RowHasOnly(const uint16_t* row, uint16_t a, uint16_t b) {
  return std::all_of(row, row + kTileSide, [=](uint16_t pixel) { return pixel == a || pixel == b; });
}

#endif

constexpr uint32_t kWholeRow = 0xFFFF;

const uint16_t* RowOf(const TilePixels& tile, int row) {
  return tile.pixels.data() + static_cast<ptrdiff_t>(row) * kTileSide;
}

// The bits of each of four 16-bit words in reverse, since the leftmost pixel is the top bit of a mask.
uint64_t ReverseWords(uint64_t words) {
  words = (words >> 1 & 0x5555555555555555) | (words & 0x5555555555555555) << 1;
  words = (words >> 2 & 0x3333333333333333) | (words & 0x3333333333333333) << 2;
  words = (words >> 4 & 0x0F0F0F0F0F0F0F0F) | (words & 0x0F0F0F0F0F0F0F0F) << 4;
  return (words >> 8 & 0x00FF00FF00FF00FF) | (words & 0x00FF00FF00FF00FF) << 8;
}

void MakeMask(const TilePixels& tile, TileColours& colours) {
  for (int row = 0; row < kTileSide; row += 4) {
    uint64_t words = 0;
    for (int i = 3; i >= 0; --i) words = words << 16 | WhereSame(RowOf(tile, row + i), colours.first);
    words = ReverseWords(words);
    std::memcpy(&colours.mask[static_cast<size_t>(row)], &words, sizeof words);
  }
}

ReadResult ReadTile(const uint16_t* source, size_t rowPixels, uint16_t reductionMask, TilePixels& tile) {
  uint32_t same = kWholeRow;
  for (int i = 0; i < kTileSide; ++i) {
    uint16_t* const row = tile.pixels.data() + static_cast<ptrdiff_t>(i) * kTileSide;
    ReadRow(source + static_cast<size_t>(i) * rowPixels, reductionMask, row);
    same &= WhereSame(row, tile.pixels[0]);
  }
  if (same == kWholeRow) return {OneColourChecksum(tile.pixels[0]), true};
  return {CRC32(tile.pixels.data(), kTileBytes, 0), false};
}

TileColours FindColours(const TilePixels& tile) {
  TileColours colours;
  colours.first = tile.pixels[0];
  int row = 0;
  uint32_t same;
  while ((same = WhereSame(RowOf(tile, row), colours.first)) == kWholeRow) ++row;
  colours.second = RowOf(tile, row)[std::countr_one(same)];
  while (row < kTileSide && RowHasOnly(RowOf(tile, row), colours.first, colours.second)) ++row;
  if (row < kTileSide) {
    colours.kind = kManyColours;
    return colours;
  }
  colours.kind = kTwoColours;
  MakeMask(tile, colours);
  return colours;
}

}  // namespace

// The library inverts its state before and after.
uint32_t CRC32(const void* bytes, size_t length, uint32_t start) {
  return length == 0 ? start : ~libdeflate_crc32(~start, bytes, length);
}

// The checksum of an exclusive or is the exclusive or of the checksums, so that the two bytes of a colour can
// be looked up one by one.
uint32_t OneColourChecksum(uint16_t colour) {
  struct Tables {
    std::array<uint32_t, 256> lower, upper;
    Tables() {
      for (uint16_t byte = 0; byte < 256; ++byte) {
        lower[byte] = ChecksumOf(byte);
        upper[byte] = ChecksumOf(static_cast<uint16_t>(byte << 8));
      }
    }
    static uint32_t ChecksumOf(uint16_t pixel) {
      TilePixels tile;
      tile.pixels.fill(pixel);
      return CRC32(tile.pixels.data(), kTileBytes, 0);
    }
  };
  static const Tables tables;
  return tables.lower[colour & 0xFF] ^ tables.upper[colour >> 8];
}

const Kernel kBasicKernel = {"basic", ReadTile, FindColours};

}  // namespace tiles
