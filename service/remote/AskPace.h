// When the observer is asked again after it had nothing new.
#pragma once
#include <chrono>

namespace remote {

// One thread at a time.
class AskPace {
 public:
  using Clock = std::chrono::steady_clock;

  // A viewer acts, or there is a new screen.
  void Activity(Clock::time_point now);
  // The display was heard to be drawn on.
  void Drawn(Clock::time_point now);
  // An answer with changes. Those that nobody has heard of are a sign of more of them.
  void Changes(Clock::time_point now);
  // An answer without.
  void Nothing(Clock::time_point now);
  // Ask as soon as somebody can use the answer.
  void Now() { next_ = {}; }

  [[nodiscard]] Clock::time_point Next() const { return next_; }
  // It asks so soon that hearing of drawing makes no difference.
  [[nodiscard]] bool Busy(Clock::time_point now) const;

 private:
  [[nodiscard]] bool Hears(Clock::time_point now) const;

  Clock::time_point next_{};
  Clock::time_point busyUntil_{};
  Clock::time_point heard_{};
  Clock::time_point lastNothing_{};
  std::chrono::nanoseconds pause_{};
};

}  // namespace remote
