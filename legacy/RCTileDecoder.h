// The viewer's side of the tile stream: messages in, the desktop's pixels out.
#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "legacy/TileReader.h"
#include "legacy/TileStream.h"

namespace tiles {

// Desktop pixels; right and bottom exclusive.
struct Area {
  int32_t left = 0, top = 0, right = 0, bottom = 0;
};

// A frame whose pieces are arriving.
struct ArrivingFrame {
  Area area;
  Area aligned;  // widened to whole tiles
  uint16_t sequence = 0;
  size_t tileCount = 0;
  std::optional<uint16_t> fullPieces;
  size_t pieces = 0;
  std::vector<uint8_t> stream;
  TileCheck check;
};

}  // namespace tiles

// One thread. Trusts no byte. A frame is drawn when all of it has arrived and been checked, so that a broken
// one leaves the picture as it was; the next frame is taken as ever.
class RCTileDecoder {
 public:
  enum class Result {
    kMoreToCome,  // a frame has begun or goes on
    kDesktop,     // size or pixel format of the desktop was told
    kPicture,     // a frame has been drawn: Drawn() says where
    kNoPixels,    // a frame that shows nothing: the observer lives
    kRefused      // Error() says why
  };

  // Where the desktop's top left corner lies in global coordinates, neither of them above 0: tiles are
  // aligned there, and the stream does not tell.
  explicit RCTileDecoder(int32_t left = 0, int32_t top = 0) : left_(left), top_(top) {}

  // One message, without the header that it has as a record for the service.
  [[nodiscard]] Result Take(std::span<const uint8_t> message);
  // Of the last message that was refused.
  [[nodiscard]] const std::string& Error() const { return error_; }

  // The desktop; 0 before it was told.
  [[nodiscard]] int Width() const { return width_; }
  [[nodiscard]] int Height() const { return height_; }
  [[nodiscard]] const tiles::PixelMasks& Masks() const { return masks_; }
  // Of the last frame that was drawn.
  [[nodiscard]] const tiles::Area& Drawn() const { return drawn_; }
  // Host order, rows from the top; black where nothing was drawn yet.
  [[nodiscard]] const std::vector<uint16_t>& Pixels() const { return pixels_; }

 private:
  Result TakeDimensions(const tiles::DimensionsRecord& record);
  Result TakePixelFormat(const tiles::PixelFormatRecord& record);
  Result TakeFrame(const tiles::FrameRecord& record);
  Result TakePiece(const tiles::PieceRecord& record, std::span<const uint8_t> bytes);
  // An error in words, or nothing.
  [[nodiscard]] std::string FollowSequence(uint16_t sequence);
  [[nodiscard]] std::string CheckPiece(const tiles::PieceRecord& record, size_t length) const;
  void Begin(const tiles::FrameRecord& record);
  void Draw(size_t index, const uint16_t* tile);
  Result Refuse(std::string why);

  int32_t left_;
  int32_t top_;
  std::string error_;
  int width_ = 0;
  int height_ = 0;
  tiles::PixelMasks masks_ = tiles::kPixels555;
  std::vector<uint16_t> pixels_;
  tiles::Area drawn_;
  std::optional<uint16_t> sequence_;  // of the last header
  std::optional<tiles::ArrivingFrame> frame_;
};
