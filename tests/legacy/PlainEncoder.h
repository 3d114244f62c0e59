// The tile stream by the shortest way to say it: one pixel after the other, one tile after the other.
#pragma once
#include <cstdint>
#include <vector>

namespace test {

// `pixels` in host order, rows of 16 * `across`. `checksums` has a place for every tile, row by row; null:
// none.
[[nodiscard]] std::vector<uint8_t> EncodePlain(const std::vector<uint16_t>& pixels, int across, int down,
                                               uint16_t reductionMask, std::vector<uint64_t>* checksums);

}  // namespace test
