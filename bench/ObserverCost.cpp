// What processor time does the whole observer take while a client paints and another one watches, beside the
// smallest loop?
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "bench/Contenders.h"
#include "bench/Painter.h"
#include "tests/support/XServer.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto kSpan = 5s;

// Nanoseconds that all threads of the process have run.
double ProcessorTime(pid_t pid) {
  double total = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
    double running = 0;
    std::ifstream(thread.path() / "schedstat") >> running;
    total += running;
  }
  return total;
}

struct Cost {
  double percentOfACore;
  double changesPerSecond;
};

// `asksPerSecond` 0: nobody asks.
Cost Measure(pid_t pid, bench::ScreenSocket& screen, int asksPerSecond) {
  int changes = 0;
  const double before = ProcessorTime(pid);
  const auto begin = Clock::now();
  auto next = begin;
  while (Clock::now() - begin < kSpan) {
    if (asksPerSecond == 0) {
      std::this_thread::sleep_until(begin + kSpan);
      break;
    }
    if (screen.Ask()) ++changes;
    next += std::chrono::microseconds(1'000'000 / asksPerSecond);
    std::this_thread::sleep_until(next);
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  return {(ProcessorTime(pid) - before) / 1e7 / seconds, changes / seconds};
}

void PaintSquare(bench::Painter& painter) { painter.Square(300, 300, 64); }
void PaintScroll(bench::Painter& painter) { painter.ScrollWindow(); }
void PaintVideo(bench::Painter& painter) { painter.VideoFrame(); }

struct Scene {
  const char* name;
  void (*paint)(bench::Painter&);
  int perSecond;
};

}  // namespace

int main() {
  const test::XServer server({.width = 1920, .height = 1080});
  bench::SmallestLoopProcess smallest;
  bench::ObservedDesktop observed;
  std::printf("percent of one core over %d s, 1920 x 1080, asked 100 times a second\n",
              static_cast<int>(kSpan.count()));
  std::printf("  %-38s %9s %9s %6s %10s\n", "", "observer", "smallest", "ratio", "changes/s");

  constexpr Scene kScenes[] = {{"nothing changes", nullptr, 0},
                               {"a square of 64 x 64, 20 times a second", PaintSquare, 20},
                               {"a scrolling window, 20 times a second", PaintScroll, 20},
                               {"full-screen video, 30 times a second", PaintVideo, 30}};
  for (const Scene& scene : kScenes) {
    const std::unique_ptr<bench::SteadyPainter> painter(
        scene.paint != nullptr ? new bench::SteadyPainter(scene.paint, scene.perSecond) : nullptr);
    while (scene.paint != nullptr && !observed.screen.Ask()) std::this_thread::sleep_for(1ms);
    while (scene.paint == nullptr && (observed.screen.Ask() || smallest.screen.Ask())) continue;
    const Cost ours = Measure(observed.Pid(), observed.screen, 100);
    const Cost theirs = Measure(smallest.Pid(), smallest.screen, 100);
    std::printf("  %-38s %8.3f%% %8.3f%% %6.2f %10.1f\n", scene.name, ours.percentOfACore,
                theirs.percentOfACore, ours.percentOfACore / theirs.percentOfACore, ours.changesPerSecond);
  }

  observed.Disconnect();
  const Cost alone = Measure(observed.Pid(), observed.screen, 0);
  std::printf("  %-38s %8.3f%%\n", "no client", alone.percentOfACore);
}
