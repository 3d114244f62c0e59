// Paints the loads that it is told to, and says when: for programs that look on elsewhere.
//
// A line "NAME PERIOD COUNT" on standard input lets it paint so often, PERIOD milliseconds apart, or rather
// half to one and a half times that, so that it keeps no step with anything. Then comes a line "TIME COLOUR"
// for each, the milliseconds of the real-time clock just before, and the colour as six hexadecimal digits,
// and the line "end".
#include <chrono>
#include <cstdio>
#include <iostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bench/Painter.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Load {
  const char* name;
  void (*paint)(bench::Painter&);
};

constexpr Load kLoads[] = {{"square", [](bench::Painter& painter) { painter.Square(300, 300, 64); }},
                           {"scroll", [](bench::Painter& painter) { painter.ScrollWindow(); }},
                           {"video", [](bench::Painter& painter) { painter.VideoFrame(); }},
                           {"film", [](bench::Painter& painter) { painter.FilmFrame(); }}};

struct Painted {
  double milliseconds;
  unsigned colour;
};

std::vector<Painted> Paint(bench::Painter& painter, const Load& load, double period, int count) {
  std::minstd_rand generator(std::random_device{}());
  std::uniform_real_distribution<double> part(0.5, 1.5);
  std::vector<Painted> painted;
  auto next = Clock::now();
  for (int i = 0; i < count; ++i) {
    const std::chrono::duration<double, std::milli> now = std::chrono::system_clock::now().time_since_epoch();
    load.paint(painter);
    painted.push_back({now.count(), painter.Colour()});
    next += std::chrono::microseconds(static_cast<int>(period * part(generator) * 1000));
    std::this_thread::sleep_until(next);
  }
  return painted;
}

}  // namespace

int main() {
  bench::Painter painter;
  std::string name;
  double period = 0;
  int count = 0;
  while (std::cin >> name >> period >> count) {
    for (const Load& load : kLoads) {
      if (name != load.name) continue;
      for (const Painted& change : Paint(painter, load, period, count))
        std::printf("%.3f %06x\n", change.milliseconds, change.colour);
    }
    std::puts("end");
    std::fflush(stdout);
  }
}
