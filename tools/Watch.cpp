#include "tools/Watch.h"

#include <algorithm>
#include <cstdio>
#include <thread>

namespace tools {
namespace {

using rcserv::ScreenClient;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto kPauseAfterNothing = 8ms;
constexpr uint32_t kAnswerTimeoutMs = 1000;
constexpr auto kTileSlice = 200ms;
constexpr auto kTileSilence = 10s;

std::vector<rcserv::Rect> Within(std::span<const rcserv::Rect> changes, const rcserv::Rect& area) {
  std::vector<rcserv::Rect> result;
  for (const rcserv::Rect& change : changes) {
    const rcserv::Rect part = Intersect(change, area);
    if (!part.IsEmpty()) result.push_back(part);
  }
  return result;
}

// Takes one step after the other until one is false, `limit` has passed or `interrupted()`, and prints
// `takeLine()` every second. False when a step was, and nobody has interrupted it.
template <class Step, class TakeLine>
bool PrintEverySecond(std::optional<std::chrono::seconds> limit, bool (*interrupted)(), Step step,
                      TakeLine takeLine) {
  const auto begin = Clock::now();
  auto nextLine = begin + 1s;
  while (!interrupted()) {
    if (!step()) return interrupted();
    const auto now = Clock::now();
    if (now < nextLine) continue;
    std::printf("%s\n", takeLine().c_str());
    std::fflush(stdout);
    nextLine += 1s;
    if (limit && now >= begin + *limit) return true;
  }
  return true;
}

}  // namespace

void WatchCount::Add(std::span<const rcserv::Rect> changes, std::chrono::microseconds latency) {
  latencies_.push_back(latency);
  if (!changes.empty()) changes_.Add(changes);
}

std::string WatchCount::TakeLine() {
  char latency[24] = "no answer";
  if (!latencies_.empty()) {
    const auto middle = latencies_.begin() + static_cast<std::ptrdiff_t>(latencies_.size() / 2);
    std::nth_element(latencies_.begin(), middle, latencies_.end());
    std::snprintf(latency, sizeof latency, "latency %7.3f ms",
                  std::chrono::duration<double, std::milli>(*middle).count());
  }
  std::string line = changes_.Text() + latency;
  *this = {};
  return line;
}

bool Watch(ScreenClient& screen, std::optional<uint32_t> monitor, std::optional<std::chrono::seconds> limit,
           bool (*interrupted)()) {
  WatchCount count;
  const auto ask = [&] {
    const auto asked = Clock::now();
    const ScreenClient::Answer answer = screen.Ask(kAnswerTimeoutMs);
    const auto answered = Clock::now();
    if (answer == ScreenClient::Answer::kLost) return false;

    bool changed = false;
    if (answer == ScreenClient::Answer::kNewScreen || answer == ScreenClient::Answer::kChanges) {
      const auto shown = monitor ? screen.MonitorArea(*monitor) : screen.Area();
      const auto changes = Within(screen.Changes(), shown.value_or(rcserv::Rect()));
      changed = !changes.empty();
      count.Add(changes, std::chrono::duration_cast<std::chrono::microseconds>(answered - asked));
    }
    if (!changed) std::this_thread::sleep_for(kPauseAfterNothing);
    return true;
  };
  return PrintEverySecond(limit, interrupted, ask, [&] { return count.TakeLine(); });
}

bool Watch(TileClient& tiles, std::optional<std::chrono::seconds> limit, bool (*interrupted)()) {
  auto last = Clock::now();
  const auto follow = [&] {
    const TileClient::Wait message = tiles.ForMessage(kTileSlice, interrupted);
    const auto now = Clock::now();
    if (message == TileClient::Wait::kThere) last = now;
    return message != TileClient::Wait::kRefused && now < last + kTileSilence;
  };
  const auto takeLine = [&] {
    const TileClient::Traffic traffic = tiles.TakeTraffic();
    char bytes[32];
    std::snprintf(bytes, sizeof bytes, "kilobytes %9.1f", static_cast<double>(traffic.bytes) / 1e3);
    return traffic.changes.Text() + bytes;
  };
  return PrintEverySecond(limit, interrupted, follow, takeLine);
}

}  // namespace tools
