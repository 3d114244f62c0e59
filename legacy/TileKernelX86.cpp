// The kernels on x86-64: where the processor multiplies without carries in wide registers, a row of a tile,
// or of two tiles side by side, is one of them.
#include <immintrin.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "legacy/TileKernel.h"

#define WIDE __attribute__((target("avx2,pclmul,vpclmulqdq")))
#define WIDEST __attribute__((target("avx2,pclmul,vpclmulqdq,avx512f,avx512bw")))

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

// What is left of each 128 bits, with 32 zero bits behind them, modulo the polynomial: in the second of four
// numbers.
WIDE inline __m256i Reduce(__m256i value) {
  constexpr int64_t kPolynomial = 0x1DB710641;
  constexpr int64_t kQuotient = 0x1F7011641;  // x^64 divided by the polynomial, reflected
  const __m256i low32 = _mm256_set1_epi64x(0xFFFFFFFF);
  const __m256i to64 = _mm256_set1_epi64x(Distance<128>::kUpper);
  value = _mm256_xor_si256(_mm256_clmulepi64_epi128(value, to64, 0x00), _mm256_srli_si256(value, 8));
  const __m256i to32 = _mm256_set1_epi64x(Power(64));
  value = _mm256_xor_si256(_mm256_clmulepi64_epi128(_mm256_and_si256(value, low32), to32, 0x00),
                           _mm256_srli_si256(value, 4));
  const __m256i quotient = _mm256_set1_epi64x(kQuotient);
  const __m256i polynomial = _mm256_set1_epi64x(kPolynomial);
  __m256i multiple = _mm256_clmulepi64_epi128(_mm256_and_si256(value, low32), quotient, 0x00);
  multiple = _mm256_clmulepi64_epi128(_mm256_and_si256(multiple, low32), polynomial, 0x00);
  return _mm256_xor_si256(value, multiple);
}

// Of two tiles, of which each has one row left: its left and its right half.
WIDE inline std::array<uint32_t, 2> Finish(__m256i left, __m256i right) {
  const __m256i reduced = Reduce(_mm256_xor_si256(Fold<kRowBits / 2>(left), right));
  return {static_cast<uint32_t>(_mm256_extract_epi32(reduced, 1)),
          static_cast<uint32_t>(_mm256_extract_epi32(reduced, 5))};
}

// ---- rows

WIDE inline __m256i Splat(uint16_t pixel) { return _mm256_set1_epi16(static_cast<short>(pixel)); }

// In host order.
WIDE inline __m256i LoadPixels(const TileSource& tile, int row) {
  const __m256i pixels = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(tile.Row(row)));
  return _mm256_or_si256(pixels, Splat(tile.reductionMask));
}

// Where each of 16 bytes comes from.
constexpr int64_t kExchange0 = 0x0607040502030001;
constexpr int64_t kExchange8 = 0x0E0F0C0D0A0B0809;

WIDE inline __m256i LoadRow(const TileSource& tile, int row) {
  const __m256i exchange = _mm256_setr_epi64x(kExchange0, kExchange8, kExchange0, kExchange8);
  return _mm256_shuffle_epi8(LoadPixels(tile, row), exchange);
}

WIDE void CopyPixels(const TileSource& tile, uint8_t* to) {
  for (int row = 0; row < kTileSide; ++row)
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to) + row, LoadRow(tile, row));
}

// ---- checksums: each row of a tile is folded onto the next one, in so many registers at once that no
// multiplication waits for the one before.

constexpr size_t kAtOnce = 4;

WIDE void SumTiles(const TileSource& first, std::span<uint32_t> checksums) {
  for (size_t i = 0; i < checksums.size(); i += kAtOnce) {
    const auto at = [&](size_t k) { return std::min(i + k, checksums.size() - 1); };
    __m256i sums[kAtOnce];
    for (size_t k = 0; k < kAtOnce; ++k) sums[k] = LoadRow(first.Neighbour(at(k)), 0);
    for (int row = 1; row < kTileSide; ++row) {
      for (size_t k = 0; k < kAtOnce; ++k)
        sums[k] = _mm256_xor_si256(Fold<kRowBits>(sums[k]), LoadRow(first.Neighbour(at(k)), row));
    }
    for (size_t k = 0; k < kAtOnce; k += 2) {
      const auto [a, b] = Finish(_mm256_permute2x128_si256(sums[k], sums[k + 1], 0x20),
                                 _mm256_permute2x128_si256(sums[k], sums[k + 1], 0x31));
      checksums[at(k)] = a;
      checksums[at(k + 1)] = b;
    }
  }
}

// A row of each of two tiles side by side.
WIDEST inline __m512i LoadTwoRows(const TileSource& tile, int row) {
  const __m512i exchange = _mm512_setr4_epi64(kExchange0, kExchange8, kExchange0, kExchange8);
  const __m512i mask = _mm512_set1_epi16(static_cast<short>(tile.reductionMask));
  return _mm512_shuffle_epi8(_mm512_or_si512(_mm512_loadu_si512(tile.Row(row)), mask), exchange);
}

WIDEST inline __m512i FoldTwoRows(__m512i value) {
  const __m512i lower = _mm512_set1_epi64(Distance<kRowBits>::kLower);
  const __m512i upper = _mm512_set1_epi64(Distance<kRowBits>::kUpper);
  return _mm512_xor_si512(_mm512_clmulepi64_epi128(value, lower, 0x00),
                          _mm512_clmulepi64_epi128(value, upper, 0x11));
}

// As many tiles side by side as are summed at once; what the reduction makes equal may still be told apart.
WIDEST bool EachHasOneColour(const TileSource& first) {
  const __m512i cornerOfEach = _mm512_maskz_set1_epi16(0xFFFF0000, kTileSide);
  __m512i colours[kAtOnce];
  for (size_t k = 0; k < kAtOnce; ++k)
    colours[k] = _mm512_permutexvar_epi16(cornerOfEach, _mm512_loadu_si512(first.Neighbour(2 * k).Row(0)));
  for (int row = 0; row < kTileSide; ++row) {
    __m512i differences = _mm512_setzero_si512();
    for (size_t k = 0; k < kAtOnce; ++k) {
      const __m512i pixels = _mm512_loadu_si512(first.Neighbour(2 * k).Row(row));
      differences = _mm512_or_si512(differences, _mm512_xor_si512(pixels, colours[k]));
    }
    if (_mm512_test_epi64_mask(differences, differences) != 0) return false;
  }
  return true;
}

WIDEST void SumTilesWidest(const TileSource& first, std::span<uint32_t> checksums) {
  size_t i = 0;
  for (; i + 2 * kAtOnce <= checksums.size(); i += 2 * kAtOnce) {
    if (EachHasOneColour(first.Neighbour(i))) {
      for (size_t k = i; k < i + 2 * kAtOnce; ++k)
        checksums[k] = OneColourChecksum(ExchangeBytes(first.Neighbour(k).Pixel(0, 0)));
      continue;
    }
    __m512i sums[kAtOnce];
    for (size_t k = 0; k < kAtOnce; ++k) sums[k] = LoadTwoRows(first.Neighbour(i + 2 * k), 0);
    for (int row = 1; row < kTileSide; ++row) {
      for (size_t k = 0; k < kAtOnce; ++k)
        sums[k] = _mm512_xor_si512(FoldTwoRows(sums[k]), LoadTwoRows(first.Neighbour(i + 2 * k), row));
    }
    for (size_t k = 0; k < kAtOnce; ++k) {
      __m128i halves[4];
      _mm512_storeu_si512(halves, sums[k]);
      const auto [a, b] =
          Finish(_mm256_setr_m128i(halves[0], halves[2]), _mm256_setr_m128i(halves[1], halves[3]));
      checksums[i + 2 * k] = a;
      checksums[i + 2 * k + 1] = b;
    }
  }
  SumTiles(first.Neighbour(i), checksums.subspan(i));
}

// ---- colours

constexpr int kAllBytes = -1;  // of a mask of 32

WIDE inline uint16_t Smallest(__m256i values) {
  const __m128i smaller = _mm_min_epu16(_mm256_castsi256_si128(values), _mm256_extracti128_si256(values, 1));
  return static_cast<uint16_t>(_mm_extract_epi16(_mm_minpos_epu16(smaller), 0));
}

// From the bits in which pixels differ from the first one, nothing has to be searched: of two colours, the
// smallest difference above 0 is also the largest one. Less 1, a difference of 0 is above all others.
WIDE Kind FindColours(const TileSource& tile, TileColours& colours) {
  const uint16_t first = tile.Pixel(0, 0);
  __m256i largest = _mm256_setzero_si256();
  __m256i smallestLess1 = Splat(0xFFFF);
  for (int row = 0; row < kTileSide; ++row) {
    const __m256i difference = _mm256_xor_si256(LoadPixels(tile, row), Splat(first));
    largest = _mm256_max_epu16(largest, difference);
    smallestLess1 = _mm256_min_epu16(smallestLess1, _mm256_sub_epi16(difference, Splat(1)));
    // Two differences in one column are enough; a photo has them at once.
    constexpr int kRowsAtOnce = 4;
    const __m256i smallest = _mm256_add_epi16(smallestLess1, Splat(1));
    if (row % kRowsAtOnce == kRowsAtOnce - 1 &&
        _mm256_movemask_epi8(_mm256_cmpeq_epi16(largest, smallest)) != kAllBytes)
      return kManyColours;
  }
  const auto difference = static_cast<uint16_t>(Smallest(smallestLess1) + 1);
  colours.first = ExchangeBytes(first);
  colours.second = ExchangeBytes(first ^ difference);
  if (difference == 0) return kOneColour;
  const auto largestOfAll = static_cast<uint16_t>(~Smallest(_mm256_xor_si256(largest, Splat(0xFFFF))));
  return largestOfAll == difference ? kTwoColours : kManyColours;
}

// Two rows a step. Packing works within each half of a register; the reversal of each half and the
// permutation of its quarters put the leftmost pixel of each row last, in the top bit.
WIDE void WriteMask(const TileSource& tile, uint16_t colour, uint8_t* to) {
  const __m256i reverse =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0));
  const __m256i wanted = Splat(ExchangeBytes(colour));
  for (int row = 0; row < kTileSide; row += 2) {
    const __m256i same = _mm256_packs_epi16(_mm256_cmpeq_epi16(LoadPixels(tile, row), wanted),
                                            _mm256_cmpeq_epi16(LoadPixels(tile, row + 1), wanted));
    const __m256i ordered =
        _mm256_permute4x64_epi64(_mm256_shuffle_epi8(same, reverse), _MM_SHUFFLE(0, 2, 1, 3));
    const int bits = _mm256_movemask_epi8(ordered);
    std::memcpy(to, &bits, sizeof bits);
    to += sizeof bits;
  }
}

}  // namespace

std::span<const Kernel> Kernels() {
  static const std::vector<Kernel> kernels = [] {
    std::vector<Kernel> found = {kBasicKernel};
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("pclmul") &&
        __builtin_cpu_supports("vpclmulqdq")) {
      found.push_back({"wide", SumTiles, FindColours, WriteMask, CopyPixels});
      if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw"))
        found.push_back({"widest", SumTilesWidest, FindColours, WriteMask, CopyPixels});
    }
    return found;
  }();
  return kernels;
}

}  // namespace tiles
