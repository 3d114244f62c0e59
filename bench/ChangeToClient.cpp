// How long from a change on the screen to the client that asks every millisecond, beside the smallest loop
// that could do it?
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "bench/Contenders.h"
#include "bench/Painter.h"
#include "bench/Rounds.h"
#include "tests/support/XServer.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kRounds = 15;
constexpr int kChanges = 40;

// Paints one square at a time, at every phase of the millisecond between two requests, and returns the median
// time until the answer that reports it has been read.
double MedianLatency(bench::ScreenSocket& screen, bench::Painter& painter, int size) {
  std::vector<double> latencies;
  while (screen.Ask()) continue;
  for (int change = 0; change < kChanges; ++change) {
    auto tick = Clock::now() + 1ms;
    const auto painted = tick - change * 1000us / kChanges;
    while (Clock::now() < painted) continue;
    const auto begin = Clock::now();
    painter.Square(100 + change, 100, size);
    do {
      std::this_thread::sleep_until(tick);
      tick += 1ms;
    } while (!screen.Ask());
    latencies.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    while (screen.Ask()) continue;
  }
  return bench::Summarise(latencies).median;
}

}  // namespace

int main() {
  const test::XServer server({.width = 1920, .height = 1080});
  bench::Painter painter;
  bench::SmallestLoopProcess smallest;
  bench::ObservedDesktop observed;
  for (const int size : {64, 256, 800}) {
    std::printf("a square of %d x %d\n", size, size);
    const auto results =
        bench::Run({{"observer", [&] { return MedianLatency(observed.screen, painter, size); }},
                    {"smallest loop", [&] { return MedianLatency(smallest.screen, painter, size); }}},
                   kRounds);
    std::printf("  ratio %.2f\n", results[0].median / results[1].median);
  }
}
