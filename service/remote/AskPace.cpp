#include "service/remote/AskPace.h"

#include <algorithm>

namespace remote {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds kBusyPause = 2ms;
constexpr std::chrono::nanoseconds kQuietPause = 33ms;
constexpr auto kBusyFor = 200ms;
// The observer hears of the same drawing, a little sooner or later.
constexpr auto kBusyForDrawing = 4ms;
constexpr auto kHeardFor = 100ms;

}  // namespace

void AskPace::Activity(Clock::time_point now) {
  busyUntil_ = now + kBusyFor;
  pause_ = kBusyPause;
  next_ = now;
}

void AskPace::Drawn(Clock::time_point now) {
  heard_ = now;
  busyUntil_ = std::max(busyUntil_, now + kBusyForDrawing);
  pause_ = kBusyPause;
  // What is drawn again and again with the same pixels is asked for as often as what is looked for.
  next_ = std::max(now, lastNothing_ + kBusyPause);
}

void AskPace::Changes(Clock::time_point now) {
  if (!Hears(now)) return Activity(now);
  pause_ = kBusyPause;
  next_ = now + pause_;
}

void AskPace::Nothing(Clock::time_point now) {
  // Who hears of drawing need not look for it.
  if (now > busyUntil_) pause_ = Hears(now) ? kQuietPause : std::min(pause_ + pause_ / 4, kQuietPause);
  pause_ = std::max(pause_, kBusyPause);
  lastNothing_ = now;
  next_ = now + pause_;
}

bool AskPace::Busy(Clock::time_point now) const { return next_ - now <= kBusyPause; }

bool AskPace::Hears(Clock::time_point now) const { return now - heard_ < kHeardFor; }

}  // namespace remote
