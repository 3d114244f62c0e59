#include "legacy/TileReader.h"

#include <algorithm>
#include <cstring>

namespace tiles {
namespace {

uint16_t Number(const uint8_t* bytes) {
  uint16_t number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

bool IsRun(Kind kind) {
  return kind == kLastColourRun16 || kind == kLastColourRun8 || kind == kUnchangedRun16 ||
         kind == kUnchangedRun8;
}

// How many tiles a whole record stands for.
size_t TileCount(const uint8_t* record) {
  const auto kind = static_cast<Kind>(record[0]);
  if (!IsRun(kind)) return 1;
  return kRecordLength[kind] == 2 ? record[1] : Number(record + 1);
}

bool NeedsLast(Kind kind) { return kind == kLastColour || kind == kMaskOnly || kind == kNewSecondAndMask; }
bool NeedsSecond(Kind kind) { return kind == kMaskOnly || kind == kNewLastAndMask; }
bool SetsLast(Kind kind) { return kind == kOneColour || kind == kNewLastAndMask || kind == kTwoColours; }
bool SetsSecond(Kind kind) { return kind == kNewSecondAndMask || kind == kTwoColours; }

using Pixels = std::array<uint16_t, kTilePixels>;

void FillByMask(const uint8_t* mask, uint16_t set, uint16_t clear, Pixels& pixels) {
  for (size_t row = 0; row < kTileSide; ++row) {
    const unsigned bits = Number(mask + 2 * row);
    for (size_t i = 0; i < kTileSide; ++i) pixels[row * kTileSide + i] = bits & 0x8000U >> i ? set : clear;
  }
}

}  // namespace

std::string TileCheck::Continue(std::span<const uint8_t> stream) {
  while (position_ < stream.size()) {
    const std::span<const uint8_t> rest = stream.subspan(position_);
    if (left_ == 0) return std::to_string(rest.size()) + " bytes after the last tile";
    if (rest[0] >= kKindCount) return "record kind " + std::to_string(rest[0]) + " is unknown";
    const size_t length = kRecordLength[rest[0]];
    if (rest.size() < length) return {};
    if (std::string error = Take(rest.first(length)); !error.empty()) return error;
    position_ += length;
  }
  return {};
}

std::string TileCheck::Take(std::span<const uint8_t> record) {
  const auto kind = static_cast<Kind>(record[0]);
  const size_t count = TileCount(record.data());
  if (count == 0) return "a run of no tiles";
  if (count > left_) {
    return "a run of " + std::to_string(count) + " tiles where " + std::to_string(left_) + " are left";
  }
  if ((NeedsLast(kind) && !lastSet_) || (NeedsSecond(kind) && !secondSet_))
    return "record kind " + std::to_string(kind) + " refers to a colour that was never given";
  if ((kind == kLastColourRun16 || kind == kLastColourRun8) && before_ != kLastColour)
    return "a run without a tile to repeat";
  lastSet_ = lastSet_ || SetsLast(kind);
  secondSet_ = secondSet_ || SetsSecond(kind);
  before_ = kind;
  left_ -= count;
  return {};
}

std::string TileCheck::Missing(size_t streamLength) const {
  if (position_ < streamLength) return "the record at byte " + std::to_string(position_) + " is cut off";
  return std::to_string(left_) + " tiles are missing";
}

void ReadTiles(std::span<const uint8_t> stream, const std::function<void(size_t, const uint16_t*)>& draw) {
  Pixels pixels{};
  uint16_t last = 0;
  uint16_t second = 0;
  size_t index = 0;
  for (const uint8_t *record = stream.data(), *const end = record + stream.size(); record != end;) {
    const auto kind = static_cast<Kind>(record[0]);
    const size_t count = TileCount(record);
    const uint8_t* const body = record + 1;
    const uint8_t* const mask = record + kRecordLength[kind] - kMaskBytes;
    switch (kind) {
      case kOneColour:
        last = Number(body);
        [[fallthrough]];
      case kLastColour:
      case kLastColourRun16:
      case kLastColourRun8:
        pixels.fill(last);
        break;
      case kMaskOnly:
        FillByMask(mask, last, second, pixels);
        break;
      case kNewLastAndMask:
        last = Number(body);
        FillByMask(mask, last, second, pixels);
        break;
      case kNewSecondAndMask:
        second = Number(body);
        FillByMask(mask, last, second, pixels);
        break;
      case kTwoColours:
        second = Number(body);
        last = Number(body + 2);
        FillByMask(mask, last, second, pixels);
        break;
      case kManyColours:
        std::memcpy(pixels.data(), body, kTileBytes);
        break;
      default:
        break;
    }
    const bool unchanged = kind == kUnchanged || kind == kUnchangedRun16 || kind == kUnchangedRun8;
    for (size_t i = 0; i < count && !unchanged; ++i) draw(index + i, pixels.data());
    index += count;
    record += kRecordLength[kind];
  }
}

}  // namespace tiles
