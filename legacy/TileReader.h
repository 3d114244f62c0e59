// A frame's tile stream on its way back into pixels: first checked while it arrives, then read.
#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "legacy/TileStream.h"

namespace tiles {

// Follows a stream while it grows. Every record stands for at least one tile, so that a checked stream is no
// longer than kLongestRecord bytes for each.
class TileCheck {
 public:
  explicit TileCheck(size_t tileCount = 0) : left_(tileCount) {}

  // Looks at the whole records that have arrived since the last call; `stream` is the frame's so far. An
  // error in words, or nothing.
  [[nodiscard]] std::string Continue(std::span<const uint8_t> stream);

  // Every tile has its record, and no byte is too many.
  [[nodiscard]] bool Complete() const { return left_ == 0; }
  // Why the stream cannot end here, in words.
  [[nodiscard]] std::string Missing(size_t streamLength) const;

 private:
  [[nodiscard]] std::string Take(std::span<const uint8_t> record);

  size_t left_;
  size_t position_ = 0;
  bool lastSet_ = false;
  bool secondSet_ = false;
  Kind before_ = kNoKind;
};

// Calls `draw` with the 256 pixels of every tile that has changed, row by row, in the stream's byte order,
// borrowed for the call. `stream` has been checked.
void ReadTiles(std::span<const uint8_t> stream,
               const std::function<void(size_t index, const uint16_t* pixels)>& draw);

}  // namespace tiles
