// The kernels on x86-64: where the processor multiplies without carries in wide registers, a row of a tile is
// one of them.
#include <immintrin.h>

#include <bit>
#include <vector>

#include "legacy/TileKernel.h"

#define WIDE __attribute__((target("avx2,pclmul,vpclmulqdq")))

namespace tiles {
namespace {

// ---- checksum: bytes are folded onto bytes that lie further back by multiplying with powers of x modulo the
// polynomial. Source: V. Gopal et al., "Fast CRC Computation for Generic Polynomials Using PCLMULQDQ
// Instruction".

// x to the power `exponent` modulo the polynomial, reflected, one bit higher as reflected products are one
// bit short.
constexpr int64_t Power(int exponent) {
  uint32_t value = 0x80000000;
  for (int i = 0; i < exponent; ++i) value = value & 1 ? value >> 1 ^ 0xEDB88320 : value >> 1;
  return int64_t{value} << 1;
}

// To go `bits` on: the constants for the lower and the upper half of 128 bits.
template <int bits>
struct Distance {
  static constexpr int64_t kLower = Power(bits + 32);
  static constexpr int64_t kUpper = Power(bits - 32);
};

constexpr int kRowBits = 256;

template <int bits>
WIDE inline __m256i Fold(__m256i value) {
  const __m256i constants = _mm256_setr_epi64x(Distance<bits>::kLower, Distance<bits>::kUpper,
                                               Distance<bits>::kLower, Distance<bits>::kUpper);
  return _mm256_xor_si256(_mm256_clmulepi64_epi128(value, constants, 0x00),
                          _mm256_clmulepi64_epi128(value, constants, 0x11));
}

// What is left of 128 bits, with 32 zero bits behind them, modulo the polynomial.
WIDE inline uint32_t Reduce(__m128i value) {
  constexpr int64_t kPolynomial = 0x1DB710641;
  constexpr int64_t kQuotient = 0x1F7011641;  // x^64 divided by the polynomial, reflected
  const __m128i low32 = _mm_setr_epi32(-1, 0, 0, 0);
  const __m128i to64 = _mm_set_epi64x(0, Distance<128>::kUpper);
  value = _mm_xor_si128(_mm_clmulepi64_si128(value, to64, 0x00), _mm_srli_si128(value, 8));
  const __m128i to32 = _mm_set_epi64x(0, Power(64));
  value =
      _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(value, low32), to32, 0x00), _mm_srli_si128(value, 4));
  const __m128i division = _mm_set_epi64x(kQuotient, kPolynomial);
  __m128i multiple = _mm_clmulepi64_si128(_mm_and_si128(value, low32), division, 0x10);
  multiple = _mm_clmulepi64_si128(_mm_and_si128(multiple, low32), division, 0x00);
  return static_cast<uint32_t>(_mm_extract_epi32(_mm_xor_si128(value, multiple), 1));
}

WIDE inline __m256i ReadRow(const uint16_t* source, __m256i reductionMask, uint16_t* row) {
  const __m256i exchange =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
  const __m256i pixels = _mm256_shuffle_epi8(
      _mm256_or_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(source)), reductionMask), exchange);
  _mm256_store_si256(reinterpret_cast<__m256i*>(row), pixels);
  return pixels;
}

// Bits of the mask are set in every pixel and tell no colours apart.
WIDE inline bool HasOneColour(const uint16_t* source, size_t rowPixels, __m256i reductionMask) {
  const __m256i first = _mm256_set1_epi16(static_cast<short>(*source));
  for (int row = 0; row < kTileSide; row += 4) {
    __m256i differences = _mm256_setzero_si256();
    for (int i = 0; i < 4; ++i, source += rowPixels) {
      const __m256i pixels = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source));
      differences = _mm256_or_si256(differences, _mm256_xor_si256(pixels, first));
    }
    if (_mm256_testc_si256(reductionMask, differences) == 0) return false;
  }
  return true;
}

// Four rows are folded onto the next four, so that no multiplication waits for the one before.
WIDE ReadResult ReadTile(const uint16_t* source, size_t rowPixels, uint16_t reductionMask, TilePixels& tile) {
  const __m256i mask = _mm256_set1_epi16(static_cast<short>(reductionMask));
  if (HasOneColour(source, rowPixels, mask)) {
    tile.pixels[0] = ExchangeBytes(static_cast<uint16_t>(*source | reductionMask));
    return {OneColourChecksum(tile.pixels[0]), true};
  }
  uint16_t* row = tile.pixels.data();
  __m256i sums[4];
  for (__m256i& sum : sums) {
    sum = ReadRow(source, mask, row);
    source += rowPixels;
    row += kTileSide;
  }
  for (int i = 0; i < 3; ++i) {
    for (__m256i& sum : sums) {
      sum = _mm256_xor_si256(Fold<4 * kRowBits>(sum), ReadRow(source, mask, row));
      source += rowPixels;
      row += kTileSide;
    }
  }
  const __m256i lastRow =
      _mm256_xor_si256(_mm256_xor_si256(Fold<3 * kRowBits>(sums[0]), Fold<2 * kRowBits>(sums[1])),
                       _mm256_xor_si256(Fold<kRowBits>(sums[2]), sums[3]));
  const __m128i folded = _mm256_castsi256_si128(Fold<kRowBits / 2>(lastRow));
  return {Reduce(_mm_xor_si128(folded, _mm256_extracti128_si256(lastRow, 1))), false};
}

// ---- colours

WIDE inline __m256i Row(const TilePixels& tile, int row) {
  return _mm256_load_si256(
      reinterpret_cast<const __m256i*>(&tile.pixels[static_cast<size_t>(row * kTileSide)]));
}

WIDE inline bool AllSet(__m256i value) { return _mm256_movemask_epi8(value) == -1; }

WIDE inline __m256i OneOf(__m256i row, __m256i a, __m256i b) {
  return _mm256_or_si256(_mm256_cmpeq_epi16(row, a), _mm256_cmpeq_epi16(row, b));
}

// Two rows a step. Packing works within each half of a register; the reversal of each half and the
// permutation of its quarters put the leftmost pixel of each row last, in the top bit.
WIDE inline void MakeMask(const TilePixels& tile, __m256i colour, std::array<uint16_t, kTileSide>& mask) {
  const __m256i reverse =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0));
  for (int row = 0; row < kTileSide; row += 2) {
    const __m256i same = _mm256_packs_epi16(_mm256_cmpeq_epi16(Row(tile, row), colour),
                                            _mm256_cmpeq_epi16(Row(tile, row + 1), colour));
    const __m256i ordered =
        _mm256_permute4x64_epi64(_mm256_shuffle_epi8(same, reverse), _MM_SHUFFLE(0, 2, 1, 3));
    const auto bits = static_cast<uint32_t>(_mm256_movemask_epi8(ordered));
    mask[static_cast<size_t>(row)] = static_cast<uint16_t>(bits);
    mask[static_cast<size_t>(row) + 1] = static_cast<uint16_t>(bits >> 16);
  }
}

WIDE TileColours FindColours(const TilePixels& tile) {
  TileColours colours;
  colours.first = tile.pixels[0];
  const __m256i first = _mm256_set1_epi16(static_cast<short>(colours.first));
  int row = 0;
  __m256i same;
  while (AllSet(same = _mm256_cmpeq_epi16(Row(tile, row), first))) ++row;
  const int column = std::countr_one(static_cast<uint32_t>(_mm256_movemask_epi8(same))) / 2;
  colours.second = tile.pixels[static_cast<size_t>(row * kTileSide + column)];
  const __m256i second = _mm256_set1_epi16(static_cast<short>(colours.second));
  while (row < kTileSide && AllSet(OneOf(Row(tile, row), first, second))) ++row;
  if (row < kTileSide) {
    colours.kind = kManyColours;
    return colours;
  }
  colours.kind = kTwoColours;
  MakeMask(tile, first, colours.mask);
  return colours;
}

}  // namespace

std::span<const Kernel> Kernels() {
  static const std::vector<Kernel> kernels = [] {
    std::vector<Kernel> found = {kBasicKernel};
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("pclmul") &&
        __builtin_cpu_supports("vpclmulqdq"))
      found.push_back({"wide", ReadTile, FindColours});
    return found;
  }();
  return kernels;
}

}  // namespace tiles
