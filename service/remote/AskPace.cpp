#include "service/remote/AskPace.h"

#include <algorithm>

namespace remote {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds kBusyPause = 2ms;
constexpr std::chrono::nanoseconds kQuietPause = 33ms;
constexpr auto kBusyFor = 200ms;

}  // namespace

void AskPace::Activity(Clock::time_point now) {
  lastActivity_ = now;
  pause_ = kBusyPause;
  next_ = now;
}

void AskPace::Nothing(Clock::time_point now) {
  if (now - lastActivity_ > kBusyFor) pause_ = std::min(pause_ + pause_ / 4, kQuietPause);
  pause_ = std::max(pause_, kBusyPause);
  next_ = now + pause_;
}

}  // namespace remote
