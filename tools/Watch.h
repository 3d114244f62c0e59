// Counts what changes on a screen and prints it, a line a second.
#pragma once
#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "rcserv/Rect.h"
#include "rcserv/ScreenClient.h"
#include "tools/ChangeCount.h"
#include "tools/TileClient.h"

namespace tools {

// What happened in one second.
class WatchCount {
 public:
  // An answer with these changed rectangles (may be none), `latency` after its request.
  void Add(std::span<const rcserv::Rect> changes, std::chrono::microseconds latency);

  // The line for it, and a new beginning.
  [[nodiscard]] std::string TakeLine();

 private:
  ChangeCount changes_;
  std::vector<std::chrono::microseconds> latencies_;
};

// Asks `screen` until `limit` has passed (none: without end), or until `interrupted()`. False when the screen
// was lost. `monitor`: only changes on it count.
[[nodiscard]] bool Watch(rcserv::ScreenClient& screen, std::optional<uint32_t> monitor,
                         std::optional<std::chrono::seconds> limit, bool (*interrupted)());

// The same with a tile stream, which an observer that lives sends without being asked. False when it is
// refused or nothing has come for 10 s.
[[nodiscard]] bool Watch(TileClient& tiles, std::optional<std::chrono::seconds> limit, bool (*interrupted)());

}  // namespace tools
