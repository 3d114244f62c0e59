// Resource forks and the AppleDouble files that hold them, written out byte by byte.
#pragma once
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace test {

inline std::string BigEndian(uint32_t number, int size) {
  std::string bytes;
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
  return bytes;
}

using Resources = std::vector<std::pair<std::string, std::string>>;  // type of four characters, bytes

// Each resource is the only one of its type.
inline std::string MakeResourceFork(const Resources& resources) {
  const auto count = static_cast<uint32_t>(resources.size());
  std::string data, types, references;
  for (const auto& [type, bytes] : resources) {
    types += type + BigEndian(0, 2) + BigEndian(2 + 8 * count + static_cast<uint32_t>(references.size()), 2);
    references += BigEndian(1, 2) + BigEndian(0xFFFF, 2) + BigEndian(static_cast<uint32_t>(data.size()), 4) +
                  BigEndian(0, 4);
    data += BigEndian(static_cast<uint32_t>(bytes.size()), 4) + bytes;
  }
  const std::string map = std::string(24, '\0') + BigEndian(28, 2) + BigEndian(0, 2) +
                          BigEndian(count - 1, 2) + types + references;
  const auto size = [](const std::string& part) { return static_cast<uint32_t>(part.size()); };
  return BigEndian(16, 4) + BigEndian(16 + size(data), 4) + BigEndian(size(data), 4) +
         BigEndian(size(map), 4) + data + map;
}

// Finder information first, as the real ones have it, then the fork.
inline std::string MakeAppleDouble(const std::string& fork) {
  const std::string finder(32, 'f');
  return BigEndian(0x00051607, 4) + BigEndian(0x00020000, 4) + std::string(16, ' ') + BigEndian(2, 2) +
         BigEndian(9, 4) + BigEndian(50, 4) + BigEndian(32, 4) + BigEndian(2, 4) + BigEndian(82, 4) +
         BigEndian(static_cast<uint32_t>(fork.size()), 4) + finder + fork;
}

}  // namespace test
