#include "tests/legacy/PlainEncoder.h"

#include <array>
#include <bitset>
#include <utility>

namespace test {
namespace {

using Bytes = std::vector<uint8_t>;

uint32_t AddToChecksum(uint32_t checksum, uint8_t byte) {
  static const auto table = [] {
    std::array<uint32_t, 256> made{};
    for (uint32_t i = 0; i < 256; ++i) {
      made[i] = i;
      for (int bit = 0; bit < 8; ++bit) made[i] = made[i] & 1 ? made[i] >> 1 ^ 0xEDB88320 : made[i] >> 1;
    }
    return made;
  }();
  return table[(checksum ^ byte) & 0xFF] ^ checksum >> 8;
}

struct Tile {
  uint32_t checksum = 0;
  int kind = 0xFF;
  uint16_t a = 0, b = 0;
  std::bitset<256> isB;
  std::array<uint16_t, 256> pixels{};

  void Add(uint16_t pixel, size_t index) {
    const auto p = static_cast<uint16_t>(pixel << 8 | pixel >> 8);
    checksum = AddToChecksum(AddToChecksum(checksum, static_cast<uint8_t>(p)), static_cast<uint8_t>(p >> 8));
    pixels[index] = p;
    if (kind == 0xFF) {
      kind = 1;
      b = p;
      isB.set();
    } else if (kind == 1 && p != b) {
      kind = 5;
      a = p;
      isB.reset(index);
    } else if (kind == 5 && p == a) {
      isB.reset(index);
    } else if (kind == 5 && p != b) {
      kind = 6;
    }
  }
};

class Writer {
 public:
  Bytes stream;

  void Add(const Tile& tile) {
    if (tile.kind == 1 && lSet_ && tile.b == l_) return AddToRun(8);
    if (tile.kind == 9) return AddToRun(11);
    EndRun();
    if (tile.kind == 1) {
      Put(1, {tile.b});
      SetLast(tile.b);
    } else if (tile.kind == 6) {
      Put(6, {tile.pixels.begin(), tile.pixels.end()});
    } else if (lSet_ && tile.b == l_) {
      const bool known = sSet_ && tile.a == s_;
      known ? Put(2, {}) : Put(4, {tile.a});
      PutMask(tile.isB);
      SetSecond(tile.a);
    } else if (lSet_ && sSet_ && tile.b == s_ && tile.a == l_) {
      Put(2, {});
      PutMask(~tile.isB);
    } else {
      const bool known = sSet_ && tile.a == s_;
      known ? Put(3, {tile.b}) : Put(5, {tile.a, tile.b});
      PutMask(tile.isB);
      SetSecond(tile.a);
      SetLast(tile.b);
    }
  }

  void EndRun() {
    const int shortKind = std::exchange(runKind_, 0);
    if (shortKind == 0) return;
    if (run_ > 255) {
      Put(static_cast<uint8_t>(shortKind - 1), {static_cast<uint16_t>(run_)});
    } else if (run_ > 2) {
      stream.insert(stream.end(), {static_cast<uint8_t>(shortKind), static_cast<uint8_t>(run_)});
    } else {
      stream.insert(stream.end(), run_, shortKind == 8 ? 0 : 9);
    }
  }

 private:
  void AddToRun(int shortKind) {
    if (runKind_ == shortKind) {
      ++run_;
      return;
    }
    EndRun();
    runKind_ = shortKind;
    run_ = shortKind == 11 ? 1 : 0;
    if (shortKind == 8) stream.push_back(0);
  }
  void Put(uint8_t kind, std::vector<uint16_t> numbers) {
    stream.push_back(kind);
    for (const uint16_t number : numbers)
      stream.insert(stream.end(), {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8)});
  }
  void PutMask(const std::bitset<256>& isB) {
    for (size_t row = 0; row < 16; ++row) {
      uint16_t word = 0;
      for (size_t i = 0; i < 16; ++i) word = static_cast<uint16_t>(word << 1 | (isB[row * 16 + i] ? 1 : 0));
      stream.insert(stream.end(), {static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8)});
    }
  }
  void SetLast(uint16_t colour) { l_ = colour, lSet_ = true; }
  void SetSecond(uint16_t colour) { s_ = colour, sSet_ = true; }

  uint16_t l_ = 0, s_ = 0;
  bool lSet_ = false, sSet_ = false;
  int runKind_ = 0;  // of the short record; 0: none
  size_t run_ = 0;
};

}  // namespace

Bytes EncodePlain(const std::vector<uint16_t>& pixels, int across, int down, uint16_t reductionMask,
                  std::vector<uint64_t>* checksums) {
  const auto columns = static_cast<size_t>(across);
  std::vector<Tile> tiles(columns * static_cast<size_t>(down));
  for (size_t i = 0; i < pixels.size(); ++i) {
    const size_t x = i % (columns * 16);
    const size_t y = i / (columns * 16);
    tiles[y / 16 * columns + x / 16].Add(pixels[i] | reductionMask, y % 16 * 16 + x % 16);
  }
  Writer writer;
  for (size_t i = 0; i < tiles.size(); ++i) {
    if (checksums != nullptr) {
      if (std::exchange(checksums->at(i), tiles[i].checksum) == tiles[i].checksum) tiles[i].kind = 9;
    }
    writer.Add(tiles[i]);
  }
  writer.EndRun();
  return std::move(writer.stream);
}

}  // namespace test
