// A PNG file as the tests read it.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace test {

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<uint32_t> pixels;  // 0x00RRGGBB, rows from the top
};

// Throws std::runtime_error when the file is missing or no PNG.
Picture ReadPng(const std::string& file);

// What is left of an 8-bit-a-channel pixel that went through the 16-bit screen: five bits a channel, widened
// again.
constexpr uint32_t ThroughFiveBits(uint32_t pixel) {
  uint32_t result = 0;
  for (int shift : {16, 8, 0}) {
    const uint32_t five = pixel >> shift >> 3 & 31U;
    result |= (five << 3 | five >> 2) << shift;
  }
  return result;
}

}  // namespace test
