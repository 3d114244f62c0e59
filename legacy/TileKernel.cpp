#include "legacy/TileKernel.h"

#include <libdeflate.h>

#include <array>
#include <bit>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tiles {
namespace {

constexpr uint32_t kWholeRow = 0xFFFF;

#if defined(__SSE2__)

constexpr int kLane = 8;  // pixels in a vector, half a row
constexpr int kAllBytes = 0xFFFF;

__m128i Splat(uint16_t pixel) { return _mm_set1_epi16(static_cast<short>(pixel)); }

__m128i Half(const TileSource& tile, int row, int half) {
  const uint16_t* pixels = tile.Row(row) + half * kLane;
  return _mm_or_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels)), Splat(tile.reductionMask));
}

void CopyRow(const TileSource& tile, int row, uint8_t* to) {
  for (int half = 0; half < 2; ++half) {
    const __m128i pixels = Half(tile, row, half);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to) + half,
                     _mm_or_si128(_mm_slli_epi16(pixels, 8), _mm_srli_epi16(pixels, 8)));
  }
}

// Bit i is set where pixel i has the colour.
uint32_t WhereSame(const TileSource& tile, int row, uint16_t colour) {
  const __m128i wanted = Splat(colour);
  return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(
      _mm_cmpeq_epi16(Half(tile, row, 0), wanted), _mm_cmpeq_epi16(Half(tile, row, 1), wanted))));
}

bool RowHasOnly(const TileSource& tile, int row, uint16_t a, uint16_t b) {
  const auto either = [=](__m128i pixels) {
    return _mm_or_si128(_mm_cmpeq_epi16(pixels, Splat(a)), _mm_cmpeq_epi16(pixels, Splat(b)));
  };
  return _mm_movemask_epi8(_mm_and_si128(either(Half(tile, row, 0)), either(Half(tile, row, 1)))) ==
         kAllBytes;
}

#else

void CopyRow(const TileSource& tile, int row, uint8_t* to) {
  for (int i = 0; i < kTileSide; ++i) {
    const uint16_t pixel = ExchangeBytes(tile.Pixel(row, i));
    std::memcpy(to + 2 * i, &pixel, sizeof pixel);
  }
}

uint32_t WhereSame(const TileSource& tile, int row, uint16_t colour) {
  uint32_t bits = 0;
  for (int i = 0; i < kTileSide; ++i) bits |= (tile.Pixel(row, i) == colour ? 1U : 0U) << i;
  return bits;
}

bool RowHasOnly(const TileSource& tile, int row, uint16_t a, uint16_t b) {
  return (WhereSame(tile, row, a) | WhereSame(tile, row, b)) == kWholeRow;
}

#endif

// The number of rows at the top that have that colour alone.
int RowsOf(const TileSource& tile, uint16_t colour) {
  int row = 0;
  while (row < kTileSide && WhereSame(tile, row, colour) == kWholeRow) ++row;
  return row;
}

void CopyPixels(const TileSource& tile, uint8_t* to) {
  for (int row = 0; row < kTileSide; ++row) CopyRow(tile, row, to + row * kTileSide * 2);
}

uint32_t Checksum(const TileSource& tile) {
  const uint16_t first = tile.Pixel(0, 0);
  if (RowsOf(tile, first) == kTileSide) return OneColourChecksum(ExchangeBytes(first));
  std::array<uint8_t, kTileBytes> pixels;
  CopyPixels(tile, pixels.data());
  return CRC32(pixels.data(), pixels.size(), 0);
}

void SumTiles(const TileSource& first, std::span<uint32_t> checksums) {
  for (size_t i = 0; i < checksums.size(); ++i) checksums[i] = Checksum(first.Neighbour(i));
}

Kind FindColours(const TileSource& tile, TileColours& colours) {
  const uint16_t first = tile.Pixel(0, 0);
  colours.first = ExchangeBytes(first);
  int row = RowsOf(tile, first);
  if (row == kTileSide) return kOneColour;
  const int column = std::countr_one(WhereSame(tile, row, first));
  const uint16_t second = tile.Pixel(row, column);
  colours.second = ExchangeBytes(second);
  while (row < kTileSide && RowHasOnly(tile, row, first, second)) ++row;
  return row < kTileSide ? kManyColours : kTwoColours;
}

// The bits of each of four 16-bit words in reverse, since the leftmost pixel is the top bit of a mask.
uint64_t ReverseWords(uint64_t words) {
  words = (words >> 1 & 0x5555555555555555) | (words & 0x5555555555555555) << 1;
  words = (words >> 2 & 0x3333333333333333) | (words & 0x3333333333333333) << 2;
  words = (words >> 4 & 0x0F0F0F0F0F0F0F0F) | (words & 0x0F0F0F0F0F0F0F0F) << 4;
  return (words >> 8 & 0x00FF00FF00FF00FF) | (words & 0x00FF00FF00FF00FF) << 8;
}

void WriteMask(const TileSource& tile, uint16_t colour, uint8_t* to) {
  for (int row = 0; row < kTileSide; row += 4) {
    uint64_t words = 0;
    for (int i = 3; i >= 0; --i) words = words << 16 | WhereSame(tile, row + i, ExchangeBytes(colour));
    words = ReverseWords(words);
    std::memcpy(to, &words, sizeof words);
    to += sizeof words;
  }
}

}  // namespace

// The library inverts its state before and after.
uint32_t CRC32(const void* bytes, size_t length, uint32_t start) {
  return length == 0 ? start : ~libdeflate_crc32(~start, bytes, length);
}

// The checksum of an exclusive or is the exclusive or of the checksums, so that the two bytes can be looked
// up one by one.
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
      std::array<uint16_t, kTilePixels> pixels;
      pixels.fill(pixel);
      return CRC32(pixels.data(), kTileBytes, 0);
    }
  };
  static const Tables tables;
  return tables.lower[colour & 0xFF] ^ tables.upper[colour >> 8];
}

const Kernel kBasicKernel = {"basic", SumTiles, FindColours, WriteMask, CopyPixels};

}  // namespace tiles
