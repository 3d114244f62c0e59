#include "legacy/TileMessages.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace tiles {
namespace {

template <class Record>
void SendRecord(const Record& record, const Send& send) {
  uint8_t bytes[sizeof record];
  std::memcpy(bytes, &record, sizeof record);
  send(bytes);
}

}  // namespace

void SendDesktop(int32_t width, int32_t height, uint32_t depth, const PixelMasks& masks, const Send& send) {
  SendRecord(DimensionsRecord{.header = {kDimensionsMessage, sizeof(DimensionsRecord)},
                              .width = static_cast<uint16_t>(width),
                              .height = static_cast<uint16_t>(height),
                              .depth = static_cast<uint16_t>(depth)},
             send);
  const float area = static_cast<float>(width) * static_cast<float>(height);
  constexpr uint32_t kBitFields = 3;
  SendRecord(PixelFormatRecord{.header = {kPixelFormatMessage, sizeof(PixelFormatRecord)},
                               .infoSize = 40,
                               .width = width,
                               .height = -height,
                               .planes = 1,
                               .bitsPerPixel = static_cast<uint16_t>(depth),
                               .compression = kBitFields,
                               .imageSize = static_cast<uint32_t>(area + area),
                               .horizontalResolution = 0,
                               .verticalResolution = 0,
                               .coloursUsed = 0,
                               .importantColours = 0,
                               .redMask = masks.kRedMask,
                               .greenMask = masks.kGreenMask,
                               .blueMask = masks.kBlueMask},
             send);
}

void SendFrame(int32_t left, int32_t top, int32_t right, int32_t bottom, uint16_t sequence,
               std::span<const uint8_t> stream, const Send& send) {
  SendRecord(FrameRecord{.header = {kFrameMessage, sizeof(FrameRecord)},
                         .left = left,
                         .top = top,
                         .right = right,
                         .bottom = bottom,
                         .sequence = sequence},
             send);
  const auto fullPieces = static_cast<uint16_t>(stream.size() / kPieceLength);
  std::vector<uint8_t> message;
  for (uint16_t index = 0; !stream.empty(); ++index) {
    const std::span<const uint8_t> piece = stream.first(std::min(kPieceLength, stream.size()));
    stream = stream.subspan(piece.size());
    message.resize(sizeof(PieceRecord) + piece.size());
    const PieceRecord record{.header = {kPieceMessage, static_cast<uint16_t>(message.size())},
                             .sequence = sequence,
                             .fullPieces = fullPieces,
                             .index = index};
    std::memcpy(message.data(), &record, sizeof record);
    std::memcpy(message.data() + sizeof record, piece.data(), piece.size());
    send(message);
  }
}

}  // namespace tiles
