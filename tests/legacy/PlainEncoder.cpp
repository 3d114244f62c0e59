#include "tests/legacy/PlainEncoder.h"

#include <array>
#include <bitset>
#include <span>
#include <utility>

namespace test {
namespace {

uint32_t CRC32(std::span<const uint8_t> bytes, uint32_t start) {
  static const auto table = [] {
    std::array<uint32_t, 256> made{};
    for (uint32_t i = 0; i < 256; ++i) {
      made[i] = i;
      for (int bit = 0; bit < 8; ++bit) made[i] = made[i] & 1 ? made[i] >> 1 ^ 0xEDB88320 : made[i] >> 1;
    }
    return made;
  }();
  for (const uint8_t byte : bytes) start = table[(start ^ byte) & 0xFF] ^ start >> 8;
  return start;
}

// A record of the stream, and what a tile is until it has become one: the kind says which parts count.
struct TILE_UNION {
  uint8_t kind = 0xFF;
  uint16_t a = 0, b = 0;  // one colour is b
  std::bitset<256> isB{};
  std::array<uint16_t, 256> pixels{};
  uint16_t count = 0;
};

struct tile_t : TILE_UNION {
  uint32_t crc = 0;
};

void AccumulatePixelIntoTile(uint16_t pixel, tile_t& tile, size_t index) {
  const auto p = static_cast<uint16_t>(pixel << 8 | pixel >> 8);
  const uint8_t bytes[] = {static_cast<uint8_t>(p), static_cast<uint8_t>(p >> 8)};
  tile.crc = CRC32(bytes, tile.crc);
  tile.pixels[index] = p;
  if (tile.kind == 0xFF) {
    tile.kind = 1;
    tile.b = p;
    tile.isB.set();
  } else if (tile.kind == 1 && p != tile.b) {
    tile.kind = 5;
    tile.a = p;
    tile.isB.reset(index);
  } else if (tile.kind == 5 && p == tile.a) {
    tile.isB.reset(index);
  } else if (tile.kind == 5 && p != tile.b) {
    tile.kind = 6;
  }
}

std::vector<tile_t> AllocateRectTiles(int across, int down) {
  return std::vector<tile_t>(static_cast<size_t>(across) * static_cast<size_t>(down));
}

void GetPixelsIntoTiles(const std::vector<uint16_t>& pixels, size_t across, uint16_t reductionMask,
                        std::vector<tile_t>& tiles) {
  for (size_t i = 0; i < pixels.size(); ++i) {
    const size_t x = i % (across * 16);
    const size_t y = i / (across * 16);
    AccumulatePixelIntoTile(pixels[i] | reductionMask, tiles[y / 16 * across + x / 16], y % 16 * 16 + x % 16);
  }
}

class Writer {
 public:
  std::vector<uint8_t> stream;

  void Add(TILE_UNION& tile) {
    if (tile.kind == 1 && lSet_ && tile.b == l_) {
      tile.kind = 0;
      if (ContinueRun(8)) return;
      StartRun(8, tile, 0);
      return AppendToStream(tile);
    }
    if (tile.kind == 9) {
      if (!ContinueRun(11)) StartRun(11, tile, 1);
      return;
    }
    EndCurrentRunAppendingToStream();
    run_ = {};
    if (tile.kind == 1) SetLast(tile.b);
    if (tile.kind == 5) UseKnownColours(tile);
    AppendToStream(tile);
  }

  void EndCurrentRunAppendingToStream() {
    const bool isShort = run_.kind == 8 || run_.kind == 11;
    if (isShort && run_.count < 3) {
      for (int i = 0; i < run_.count; ++i) AppendToStream(repeated_);
    } else if (run_.kind != 0xFF) {
      AppendToStream(run_);
    }
  }

 private:
  void UseKnownColours(TILE_UNION& tile) {
    const bool knowsA = sSet_ && tile.a == s_;
    if (lSet_ && tile.b == l_) {
      tile.kind = knowsA ? 2 : 4;
      SetSecond(tile.a);
    } else if (lSet_ && sSet_ && tile.b == s_ && tile.a == l_) {
      tile.kind = 2;
      tile.isB.flip();
    } else {
      tile.kind = knowsA ? 3 : 5;
      SetSecond(tile.a);
      SetLast(tile.b);
    }
  }
  void StartRun(uint8_t kind, const TILE_UNION& repeated, uint16_t count) {
    EndCurrentRunAppendingToStream();
    run_ = {.kind = kind, .count = count};
    repeated_ = repeated;
  }
  bool ContinueRun(uint8_t shortKind) {
    const auto longKind = static_cast<uint8_t>(shortKind - 1);
    if (run_.kind != shortKind && run_.kind != longKind) return false;
    if (run_.count++ == 255) run_.kind = longKind;
    return true;
  }

  void AppendToStream(const TILE_UNION& record) {
    const uint8_t kind = record.kind;
    stream.push_back(kind);
    if (kind == 4 || kind == 5) Put(record.a);
    if (kind == 1 || kind == 3 || kind == 5) Put(record.b);
    for (size_t row = 0; row < 16 && kind >= 2 && kind <= 5; ++row) {
      uint16_t word = 0;
      for (size_t i = 0; i < 16; ++i)
        word = static_cast<uint16_t>(word << 1 | (record.isB[row * 16 + i] ? 1 : 0));
      Put(word);
    }
    for (size_t i = 0; i < 256 && kind == 6; ++i) Put(record.pixels[i]);
    if (kind == 7 || kind == 10) Put(record.count);
    if (kind == 8 || kind == 11) stream.push_back(static_cast<uint8_t>(record.count));
  }
  void Put(uint16_t number) {
    stream.insert(stream.end(), {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8)});
  }
  void SetLast(uint16_t colour) { l_ = colour, lSet_ = true; }
  void SetSecond(uint16_t colour) { s_ = colour, sSet_ = true; }

  uint16_t l_ = 0, s_ = 0;
  bool lSet_ = false, sSet_ = false;
  TILE_UNION run_, repeated_;
};

}  // namespace

std::vector<uint8_t> EncodePlain(const std::vector<uint16_t>& pixels, int across, int down,
                                 uint16_t reductionMask, std::vector<uint64_t>* checksums) {
  std::vector<tile_t> tiles = AllocateRectTiles(across, down);
  GetPixelsIntoTiles(pixels, static_cast<size_t>(across), reductionMask, tiles);
  Writer writer;
  for (size_t i = 0; i < tiles.size(); ++i) {
    if (checksums != nullptr) {
      if (std::exchange(checksums->at(i), tiles[i].crc) == tiles[i].crc) tiles[i].kind = 9;
    }
    writer.Add(tiles[i]);
  }
  writer.EndCurrentRunAppendingToStream();
  return std::move(writer.stream);
}

}  // namespace test
