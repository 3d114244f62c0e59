// When the observer is asked again after it had nothing new.
#pragma once
#include <chrono>

namespace remote {

// One thread at a time.
class AskPace {
 public:
  using Clock = std::chrono::steady_clock;

  // Something changed, or a viewer acts.
  void Activity(Clock::time_point now);
  // An answer without changes.
  void Nothing(Clock::time_point now);
  // Ask as soon as somebody can use the answer.
  void Now() { next_ = {}; }

  [[nodiscard]] Clock::time_point Next() const { return next_; }

 private:
  Clock::time_point next_{};
  Clock::time_point lastActivity_{};
  std::chrono::nanoseconds pause_{};
};

}  // namespace remote
