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

std::vector<rcserv::Rect> Within(std::span<const rcserv::Rect> changes, const rcserv::Rect& area) {
  std::vector<rcserv::Rect> result;
  for (const rcserv::Rect& change : changes) {
    const rcserv::Rect part = Intersect(change, area);
    if (!part.IsEmpty()) result.push_back(part);
  }
  return result;
}

}  // namespace

void WatchCount::Add(std::span<const rcserv::Rect> changes, std::chrono::microseconds latency) {
  latencies_.push_back(latency);
  if (changes.empty()) return;
  ++updates_;
  rectangles_ += static_cast<int>(changes.size());
  for (const rcserv::Rect& change : changes) pixels_ += static_cast<double>(change.Width()) * change.Height();
}

std::string WatchCount::TakeLine() {
  char latency[24] = "no answer";
  if (!latencies_.empty()) {
    const auto middle = latencies_.begin() + static_cast<std::ptrdiff_t>(latencies_.size() / 2);
    std::nth_element(latencies_.begin(), middle, latencies_.end());
    std::snprintf(latency, sizeof latency, "latency %7.3f ms",
                  std::chrono::duration<double, std::milli>(*middle).count());
  }
  char line[128];
  std::snprintf(line, sizeof line, "updates %4d   rectangles %4d   megapixels %8.2f   %s", updates_,
                rectangles_, pixels_ / 1e6, latency);
  *this = {};
  return line;
}

bool Watch(rcserv::ScreenClient& screen, std::optional<uint32_t> monitor,
           std::optional<std::chrono::seconds> limit, bool (*interrupted)()) {
  const auto begin = Clock::now();
  auto nextLine = begin + 1s;
  WatchCount count;
  while (!interrupted()) {
    const auto asked = Clock::now();
    const ScreenClient::Answer answer = screen.Ask(kAnswerTimeoutMs);
    const auto answered = Clock::now();
    if (answer == ScreenClient::Answer::kLost && !interrupted()) return false;

    bool changed = false;
    if (answer == ScreenClient::Answer::kNewScreen || answer == ScreenClient::Answer::kChanges) {
      const auto shown = monitor ? screen.MonitorArea(*monitor) : screen.Area();
      const auto changes = Within(screen.Changes(), shown.value_or(rcserv::Rect()));
      changed = !changes.empty();
      count.Add(changes, std::chrono::duration_cast<std::chrono::microseconds>(answered - asked));
    }
    if (answered >= nextLine) {
      std::printf("%s\n", count.TakeLine().c_str());
      std::fflush(stdout);
      nextLine += 1s;
      if (limit && answered >= begin + *limit) return true;
    }
    if (!changed) std::this_thread::sleep_for(kPauseAfterNothing);
  }
  return true;
}

}  // namespace tools
