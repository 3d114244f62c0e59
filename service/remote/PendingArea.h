// What a viewer has not been sent yet, tile by tile, and how often each tile changes.
#pragma once
#include <chrono>
#include <cstddef>
#include <vector>

#include "rcserv/Rect.h"

namespace remote {

// One thread at a time. Rectangles are pixels of the screen.
class PendingArea {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr int kTileSide = 64;

  // A new screen: nothing is pending on it.
  void Reset(int width, int height);

  void Add(const rcserv::Rect& changed, Clock::time_point now);
  // What was taken, and not sent after all.
  void PutBack(const rcserv::Rect& piece, Clock::time_point now);
  [[nodiscard]] bool Empty() const { return pendingTiles_ == 0; }

  // Takes rectangles out, none of which crosses an edge of a tile, row by row of tiles and from left to
  // right. Stops when they have `maxPixels`, one of them at least: what changed seldom, or waits for long,
  // comes first.
  void Take(size_t maxPixels, Clock::time_point now, std::vector<rcserv::Rect>& taken);

 private:
  struct Tile {
    rcserv::Rect pending;
    Clock::time_point since;     // it is pending
    Clock::time_point changed;   // last
    float changesPerSecond = 0;  // at that time; it decays
  };

  void AddToTile(Tile& tile, const rcserv::Rect& part, Clock::time_point now);
  [[nodiscard]] Tile& TileAt(int x, int y);
  [[nodiscard]] double Priority(const Tile& tile, Clock::time_point now) const;
  void TakeTile(Tile& tile, std::vector<rcserv::Rect>& taken);

  int columns_ = 0, rows_ = 0;
  std::vector<Tile> tiles_;
  size_t pendingTiles_ = 0;
  size_t pendingPixels_ = 0;
  std::vector<size_t> order_;
};

}  // namespace remote
