#include "service/remote/UpdateEncoder.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstring>

namespace remote {
namespace {

using rcserv::Rect;

constexpr int kFastest = 1;
constexpr uint8_t kUpdateMessage = 1;
constexpr uint8_t kCompressedFollows = 1;
constexpr size_t kPixelBytes = 2;

#pragma pack(push, 1)
struct UpdateHeader {
  uint8_t message;
  uint8_t flags;
  uint16_t rectangles;
  uint32_t number;
  uint32_t screen;
  uint32_t rawBytes;
};
struct RectangleRecord {
  uint16_t left, top, width, height;
  uint8_t kind;
  uint8_t zero;
  uint16_t colour;
};
#pragma pack(pop)
static_assert(sizeof(UpdateHeader) == 16 && sizeof(RectangleRecord) == 12);

size_t Bytes(const Rect& rect) {
  return static_cast<size_t>(rect.Width()) * static_cast<size_t>(rect.Height()) * kPixelBytes;
}

const std::byte* Row(const PixelView& picture, int x, int y) {
  return picture.pixels + static_cast<std::ptrdiff_t>(y) * picture.strideBytes +
         static_cast<std::ptrdiff_t>(x) * static_cast<int>(kPixelBytes);
}

uint16_t PixelAt(const std::byte* row, size_t x) {
  uint16_t pixel;
  std::memcpy(&pixel, row + x * kPixelBytes, sizeof pixel);
  return pixel;
}

bool IsOneColour(const PixelView& picture, const Rect& piece) {
  const std::byte* const first = Row(picture, piece.left, piece.top);
  const size_t bytes = static_cast<size_t>(piece.Width()) * kPixelBytes;
  // Every pixel of the first row equals the one before; every row equals the first.
  if (std::memcmp(first, first + kPixelBytes, bytes - kPixelBytes) != 0) return false;
  for (int y = piece.top + 1; y < piece.bottom; ++y)
    if (std::memcmp(first, Row(picture, piece.left, y), bytes) != 0) return false;
  return true;
}

// Hardly any pixel equals its neighbour, as in a photograph: nothing to be gained. Looks at every eighth row.
bool IsNoise(const PixelView& picture, const Rect& piece) {
  constexpr int kRowStep = 8;
  constexpr size_t kFewOf = 12;
  size_t seen = 0, equal = 0;
  const auto width = static_cast<size_t>(piece.Width());
  for (int y = piece.top; y < piece.bottom; y += kRowStep) {
    const std::byte* const row = Row(picture, piece.left, y);
    for (size_t x = 1; x < width; ++x) equal += PixelAt(row, x) == PixelAt(row, x - 1);
    seen += width - 1;
  }
  return equal * kFewOf < seen;
}

void Append(const void* bytes, size_t count, std::vector<uint8_t>& to) {
  const size_t before = to.size();
  to.resize(before + count);
  std::memcpy(to.data() + before, bytes, count);
}

void AppendRows(const PixelView& picture, const Rect& rect, std::vector<uint8_t>& to) {
  const size_t bytes = static_cast<size_t>(rect.Width()) * kPixelBytes;
  for (int y = rect.top; y < rect.bottom; ++y) Append(Row(picture, rect.left, y), bytes, to);
}

template <class Record>
void Append(const Record& record, std::vector<uint8_t>& to) {
  Append(&record, sizeof record, to);
}

}  // namespace

void UpdateEncoder::CompressorDeleter::operator()(libdeflate_compressor* compressor) const noexcept {
  libdeflate_free_compressor(compressor);
}

UpdateEncoder::UpdateEncoder() : compressor_(libdeflate_alloc_compressor(kFastest)) {}
UpdateEncoder::~UpdateEncoder() = default;

UpdateEncoder::Part UpdateEncoder::Look(const PixelView& picture, const Rect& piece, bool compress) {
  if (IsOneColour(picture, piece))
    return {piece, Kind::kOneColour, PixelAt(Row(picture, piece.left, piece.top), 0)};
  return {piece, compress && !IsNoise(picture, piece) ? Kind::kCompressed : Kind::kRaw, 0};
}

// Pieces of one kind that lie side by side become one, then rows of them that lie one below the other.
void UpdateEncoder::MergePieces(const PixelView& picture, std::span<const Rect> pieces, bool compress) {
  parts_.clear();
  size_t above = 0;  // where the row of parts before begins
  size_t row = 0;    // and this one
  for (const Rect& piece : pieces) {
    const Part part = Look(picture, piece, compress);
    if (row < parts_.size()) {
      Part& left = parts_.back();
      // A piece that begins further left than the last one ends opens a row.
      if (piece.left < left.rect.right) {
        MergeUp(row, above);
        above = row;
        row = parts_.size();
      } else if (left.SameKind(part) && left.rect.right == piece.left && left.rect.top == piece.top &&
                 left.rect.bottom == piece.bottom) {
        left.rect.right = piece.right;
        continue;
      }
    }
    parts_.push_back(part);
  }
  MergeUp(row, above);
}

// Joins the parts of the row from `above` on with those below them, from `row` on, where the next row looks
// for them.
void UpdateEncoder::MergeUp(size_t row, size_t above) {
  for (size_t upper = above; upper < row; ++upper) {
    Part& part = parts_[upper];
    const auto below = std::find_if(
        parts_.begin() + static_cast<std::ptrdiff_t>(row), parts_.end(), [&part](const Part& other) {
          return part.SameKind(other) && part.rect.left == other.rect.left &&
                 part.rect.right == other.rect.right && part.rect.bottom == other.rect.top;
        });
    if (below == parts_.end()) continue;
    below->rect.top = part.rect.top;
    part.rect = {};
  }
}

bool UpdateEncoder::CompressParts(const PixelView& picture) {
  plain_.clear();
  for (const Part& part : parts_)
    if (part.kind == Kind::kCompressed) AppendRows(picture, part.rect, plain_);
  if (plain_.empty()) return false;
  // What saves less than a tenth is not worth the page's time.
  const size_t room = plain_.size() - plain_.size() / 10;
  if (compressed_.size() < room) compressed_.resize(room);
  compressedLength_ =
      libdeflate_deflate_compress(compressor_.get(), plain_.data(), plain_.size(), compressed_.data(), room);
  if (compressedLength_ != 0) return true;
  for (Part& part : parts_)
    if (part.kind == Kind::kCompressed) part.kind = Kind::kRaw;
  return false;
}

std::vector<uint8_t> UpdateEncoder::Encode(const PixelView& picture, std::span<const Rect> pieces,
                                           uint32_t number, uint32_t screen, bool compress) {
  MergePieces(picture, pieces, compress);
  std::erase_if(parts_, [](const Part& part) { return part.rect.IsEmpty(); });
  const bool compressed = CompressParts(picture);

  size_t rawBytes = 0;
  for (const Part& part : parts_)
    if (part.kind == Kind::kRaw) rawBytes += Bytes(part.rect);
  std::vector<uint8_t> message;
  message.reserve(sizeof(UpdateHeader) + parts_.size() * sizeof(RectangleRecord) + rawBytes +
                  (compressed ? compressedLength_ : 0));
  Append(UpdateHeader{kUpdateMessage, compressed ? kCompressedFollows : uint8_t{0},
                      static_cast<uint16_t>(parts_.size()), number, screen, static_cast<uint32_t>(rawBytes)},
         message);
  for (const Part& part : parts_)
    Append(
        RectangleRecord{static_cast<uint16_t>(part.rect.left), static_cast<uint16_t>(part.rect.top),
                        static_cast<uint16_t>(part.rect.Width()), static_cast<uint16_t>(part.rect.Height()),
                        static_cast<uint8_t>(part.kind), 0, part.colour},
        message);
  for (const Part& part : parts_)
    if (part.kind == Kind::kRaw) AppendRows(picture, part.rect, message);
  if (compressed) Append(compressed_.data(), compressedLength_, message);
  return message;
}

}  // namespace remote
