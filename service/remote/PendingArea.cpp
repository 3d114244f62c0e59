#include "service/remote/PendingArea.h"

#include <algorithm>
#include <cmath>

namespace remote {
namespace {

using rcserv::Rect;

size_t Pixels(const Rect& rect) {
  return rect.IsEmpty() ? 0 : static_cast<size_t>(rect.Width()) * static_cast<size_t>(rect.Height());
}

double Seconds(std::chrono::steady_clock::duration time) {
  return std::chrono::duration<double>(time).count();
}

}  // namespace

void PendingArea::Reset(int width, int height) {
  columns_ = (width + kTileSide - 1) / kTileSide;
  rows_ = (height + kTileSide - 1) / kTileSide;
  tiles_.assign(static_cast<size_t>(columns_) * static_cast<size_t>(rows_), Tile{});
  pendingTiles_ = pendingPixels_ = 0;
}

PendingArea::Tile& PendingArea::TileAt(int x, int y) {
  return tiles_[static_cast<size_t>(y / kTileSide) * static_cast<size_t>(columns_) +
                static_cast<size_t>(x / kTileSide)];
}

void PendingArea::AddToTile(Tile& tile, const Rect& part, Clock::time_point now) {
  if (tile.pending.IsEmpty()) {
    tile.since = now;
    ++pendingTiles_;
  }
  pendingPixels_ -= Pixels(tile.pending);
  tile.pending = Unite(tile.pending, part);
  pendingPixels_ += Pixels(tile.pending);
}

void PendingArea::Add(const Rect& changed, Clock::time_point now) {
  const Rect area = Intersect(changed, rcserv::MakeXYWH(0, 0, columns_ * kTileSide, rows_ * kTileSide));
  if (area.IsEmpty()) return;
  for (int y = area.top / kTileSide * kTileSide; y < area.bottom; y += kTileSide) {
    for (int x = area.left / kTileSide * kTileSide; x < area.right; x += kTileSide) {
      Tile& tile = TileAt(x, y);
      AddToTile(tile, Intersect(area, rcserv::MakeXYWH(x, y, kTileSide, kTileSide)), now);
      // Counted over about a second.
      tile.changesPerSecond =
          static_cast<float>(tile.changesPerSecond * std::exp(-Seconds(now - tile.changed))) + 1;
      tile.changed = now;
    }
  }
}

void PendingArea::PutBack(const Rect& piece, Clock::time_point now) {
  // Of a screen that is still there.
  if (piece.left < columns_ * kTileSide && piece.top < rows_ * kTileSide)
    AddToTile(TileAt(piece.left, piece.top), piece, now);
}

double PendingArea::Priority(const Tile& tile, Clock::time_point now) const {
  constexpr double kPatience = 0.1;  // s
  const double often = 1 + tile.changesPerSecond * std::exp(-Seconds(now - tile.changed));
  return (kPatience + Seconds(now - tile.since)) / (often * often);
}

void PendingArea::TakeTile(Tile& tile, std::vector<Rect>& taken) {
  taken.push_back(tile.pending);
  pendingPixels_ -= Pixels(tile.pending);
  --pendingTiles_;
  tile.pending = {};
}

void PendingArea::Take(size_t maxPixels, Clock::time_point now, std::vector<Rect>& taken) {
  taken.clear();
  order_.clear();
  for (size_t i = 0; i < tiles_.size(); ++i)
    if (!tiles_[i].pending.IsEmpty()) order_.push_back(i);

  if (pendingPixels_ > maxPixels) {
    std::vector<std::pair<double, size_t>> ranked;
    ranked.reserve(order_.size());
    for (const size_t i : order_) ranked.emplace_back(-Priority(tiles_[i], now), i);
    std::sort(ranked.begin(), ranked.end());
    order_.clear();
    size_t pixels = 0;
    for (const auto& [rank, i] : ranked) {
      if (pixels >= maxPixels && !order_.empty()) break;
      pixels += Pixels(tiles_[i].pending);
      order_.push_back(i);
    }
    std::sort(order_.begin(), order_.end());
  }
  for (const size_t i : order_) TakeTile(tiles_[i], taken);
}

}  // namespace remote
