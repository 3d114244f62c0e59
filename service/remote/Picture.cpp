#include "service/remote/Picture.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "service/remote/PendingArea.h"

namespace remote {
namespace {

using rcserv::Rect;

const uint16_t* Row(const PixelView& screen, int y) {
  return reinterpret_cast<const uint16_t*>(screen.pixels +
                                           static_cast<std::ptrdiff_t>(y) * screen.strideBytes);
}

}  // namespace

void Picture::Start(const PixelView& screen, int width, int height) {
  width_ = width;
  height_ = height;
  pixels_.clear();
  pixels_.reserve(static_cast<size_t>(width) * static_cast<size_t>(height));
  for (int y = 0; y < height; ++y) pixels_.insert(pixels_.end(), Row(screen, y), Row(screen, y) + width);
}

void Picture::Take(const PixelView& screen, const Rect& changed, std::vector<Rect>& different) {
  constexpr int kSide = PendingArea::kTileSide;
  const Rect area = Intersect(changed, Area());
  for (int top = area.top; top < area.bottom; top = (top / kSide + 1) * kSide) {
    const int bottom = std::min((top / kSide + 1) * kSide, area.bottom);
    // Row by row, as the pixels lie in memory.
    found_.assign(static_cast<size_t>(area.Width() / kSide + 2), Rect{});
    for (int y = top; y < bottom; ++y) {
      size_t piece = 0;
      for (int left = area.left; left < area.right; left = (left / kSide + 1) * kSide, ++piece)
        TakeRow(Row(screen, y),
                rcserv::MakeLTRB(left, y, std::min((left / kSide + 1) * kSide, area.right), y + 1),
                found_[piece]);
    }
    std::copy_if(found_.begin(), found_.end(), std::back_inserter(different),
                 [](const Rect& rect) { return !rect.IsEmpty(); });
  }
}

void Picture::TakeRow(const uint16_t* now, const Rect& part, Rect& found) {
  uint16_t* const known = pixels_.data() + static_cast<std::ptrdiff_t>(part.top) * width_;
  int left = part.left, right = part.right;
  if (std::memcmp(now + left, known + left, static_cast<size_t>(part.Width()) * sizeof *known) == 0) return;
  while (now[left] == known[left]) ++left;
  while (now[right - 1] == known[right - 1]) --right;
  std::copy(now + left, now + right, known + left);
  found = Unite(found, rcserv::MakeLTRB(left, part.top, right, part.bottom));
}

PixelView Picture::Pixels() const {
  return {reinterpret_cast<const std::byte*>(pixels_.data()), width_ * static_cast<int>(sizeof(uint16_t))};
}

}  // namespace remote
