#include "legacy/RCTileDecoder.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

using namespace tiles;

// 8192 x 8192: no desktop is larger, and a message of nine bytes must not take all memory.
constexpr size_t kMostPixels = size_t{1} << 26;

template <class Record>
std::optional<Record> Read(std::span<const uint8_t> message, bool more = false) {
  if (message.size() < sizeof(Record) || (!more && message.size() != sizeof(Record))) return std::nullopt;
  Record record;
  std::memcpy(&record, message.data(), sizeof record);
  return record;
}

std::string Text(const char* name, int64_t number) { return name + std::to_string(number); }

}  // namespace

RCTileDecoder::Result RCTileDecoder::Take(std::span<const uint8_t> message) {
  const auto header = Read<MessageHeader>(message, true);
  if (!header) return Refuse(Text("a message of bytes: ", static_cast<int64_t>(message.size())));
  if (header->length != message.size()) {
    return Refuse("a message of " + std::to_string(message.size()) + " bytes that says it has " +
                  std::to_string(header->length));
  }
  if (header->kind == kDimensionsMessage) {
    if (const auto record = Read<DimensionsRecord>(message)) return TakeDimensions(*record);
  } else if (header->kind == kPixelFormatMessage) {
    if (const auto record = Read<PixelFormatRecord>(message)) return TakePixelFormat(*record);
  } else if (header->kind == kFrameMessage) {
    if (const auto record = Read<FrameRecord>(message)) return TakeFrame(*record);
  } else if (header->kind == kPieceMessage) {
    if (const auto record = Read<PieceRecord>(message, true))
      return TakePiece(*record, message.subspan(sizeof(PieceRecord)));
  } else {
    return Refuse(Text("unknown message kind ", header->kind));
  }
  return Refuse("a message of kind " + std::to_string(header->kind) + " with " +
                std::to_string(message.size()) + " bytes");
}

RCTileDecoder::Result RCTileDecoder::TakeDimensions(const DimensionsRecord& record) {
  const size_t count = size_t{record.width} * record.height;
  if (count == 0 || count > kMostPixels) {
    return Refuse("a desktop of " + std::to_string(record.width) + " x " + std::to_string(record.height) +
                  " pixels");
  }
  // A view that begins anew announces the same desktop again: what was drawn is as true as before.
  if (record.width != width_ || record.height != height_) pixels_.assign(count, 0);
  width_ = record.width;
  height_ = record.height;
  sequence_.reset();
  frame_.reset();
  return Result::kDesktop;
}

RCTileDecoder::Result RCTileDecoder::TakePixelFormat(const PixelFormatRecord& record) {
  for (const PixelMasks& known : {kPixels555, kPixels565}) {
    if (record.redMask != known.kRedMask || record.greenMask != known.kGreenMask ||
        record.blueMask != known.kBlueMask)
      continue;
    masks_ = known;
    return Result::kDesktop;
  }
  return Refuse("a pixel format with the masks " + std::to_string(record.redMask) + ", " +
                std::to_string(record.greenMask) + ", " + std::to_string(record.blueMask));
}

std::string RCTileDecoder::FollowSequence(uint16_t sequence) {
  std::string error;
  if (frame_) {
    error = "frame " + std::to_string(frame_->sequence) + ": piece " + std::to_string(frame_->pieces) +
            " is missing";
  } else if (const uint16_t expected = static_cast<uint16_t>(sequence_.value_or(0) + 1);
             sequence_ && sequence != expected) {
    error = "frame " + std::to_string(sequence) + " where frame " + std::to_string(expected) + " is due";
  }
  sequence_ = sequence;
  frame_.reset();
  return error;
}

RCTileDecoder::Result RCTileDecoder::TakeFrame(const FrameRecord& record) {
  const std::string error = FollowSequence(record.sequence);
  const bool empty = record.left == 0 && record.top == 0 && record.right == 0 && record.bottom == 0;
  if (!empty) {
    const bool inside = record.left >= 0 && record.top >= 0 && record.left <= record.right &&
                        record.top <= record.bottom && record.right < width_ && record.bottom < height_;
    if (!inside) return Refuse(Text("a rectangle outside the desktop in frame ", record.sequence));
    Begin(record);
  }
  if (!error.empty()) return Refuse(error);
  return empty ? Result::kNoPixels : Result::kMoreToCome;
}

void RCTileDecoder::Begin(const FrameRecord& record) {
  const Area area{record.left, record.top, record.right + 1, record.bottom + 1};
  // The grid lies at multiples of 16 of the global coordinates.
  const Area aligned{area.left - WithinTile(area.left + left_), area.top - WithinTile(area.top + top_),
                     area.right + WithinTile(-(area.right + left_)),
                     area.bottom + WithinTile(-(area.bottom + top_))};
  ArrivingFrame& frame = frame_.emplace();
  frame.area = area;
  frame.aligned = aligned;
  frame.sequence = record.sequence;
  frame.tileCount = static_cast<size_t>((aligned.right - aligned.left) / kTileSide) *
                    static_cast<size_t>((aligned.bottom - aligned.top) / kTileSide);
  frame.check = TileCheck(frame.tileCount);
}

std::string RCTileDecoder::CheckPiece(const PieceRecord& record, size_t length) const {
  const std::string name =
      "piece " + std::to_string(record.index) + " of frame " + std::to_string(record.sequence);
  if (!frame_) return name + ", which has not begun";
  if (record.sequence != frame_->sequence) return name + " in frame " + std::to_string(frame_->sequence);
  if (record.index != frame_->pieces)
    return name + " where piece " + std::to_string(frame_->pieces) + " is due";
  if (frame_->fullPieces && *frame_->fullPieces != record.fullPieces)
    return name + " tells another count of pieces";
  if (record.index > record.fullPieces) return name + " is beyond the last one";
  if (record.index < record.fullPieces ? length != kPieceLength : length == 0 || length >= kPieceLength)
    return name + " has " + std::to_string(length) + " bytes";
  if (record.fullPieces * kPieceLength > frame_->tileCount * kLongestRecord)
    return name + " announces more than the frame can have";
  return {};
}

RCTileDecoder::Result RCTileDecoder::TakePiece(const PieceRecord& record, std::span<const uint8_t> bytes) {
  std::string error = CheckPiece(record, bytes.size());
  if (error.empty()) {
    frame_->fullPieces = uint16_t{record.fullPieces};
    ++frame_->pieces;
    frame_->stream.insert(frame_->stream.end(), bytes.begin(), bytes.end());
    error = frame_->check.Continue(frame_->stream);
    const bool last = record.index == record.fullPieces;
    if (error.empty() && last && !frame_->check.Complete())
      error = frame_->check.Missing(frame_->stream.size());
    if (error.empty() && frame_->check.Complete() && record.index + 1 < record.fullPieces)
      error = "all tiles are there before the last piece";
    if (!error.empty()) error = "frame " + std::to_string(record.sequence) + ": " + error;
  }
  if (!error.empty()) {
    frame_.reset();
    return Refuse(std::move(error));
  }
  if (!frame_->check.Complete()) return Result::kMoreToCome;
  ReadTiles(frame_->stream, [this](size_t index, const uint16_t* tile) { Draw(index, tile); });
  drawn_ = frame_->area;
  frame_.reset();
  return Result::kPicture;
}

void RCTileDecoder::Draw(size_t index, const uint16_t* tile) {
  const Area& area = frame_->area;
  const auto across = static_cast<size_t>((frame_->aligned.right - frame_->aligned.left) / kTileSide);
  const int32_t left = frame_->aligned.left + static_cast<int32_t>(index % across) * kTileSide;
  const int32_t top = frame_->aligned.top + static_cast<int32_t>(index / across) * kTileSide;
  const int32_t firstColumn = std::max(left, area.left);
  const int32_t endColumn = std::min(left + kTileSide, area.right);
  for (int32_t y = std::max(top, area.top); y < std::min(top + kTileSide, area.bottom); ++y) {
    const uint16_t* const from = tile + static_cast<ptrdiff_t>(y - top) * kTileSide + (firstColumn - left);
    uint16_t* const to = pixels_.data() + static_cast<ptrdiff_t>(y) * width_ + firstColumn;
    std::transform(from, from + (endColumn - firstColumn), to, ExchangeBytes);
  }
}

RCTileDecoder::Result RCTileDecoder::Refuse(std::string why) {
  error_ = std::move(why);
  return Result::kRefused;
}
