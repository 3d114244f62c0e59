// When an observer that was lost is started again, and when no more.
#pragma once
#include <chrono>
#include <deque>
#include <optional>

namespace remote {

// One thread.
class RestartPolicy {
 public:
  using Clock = std::chrono::steady_clock;

  // The observer was lost. How long to wait; nothing when it was lost too often in a time.
  [[nodiscard]] std::optional<std::chrono::milliseconds> Lost(Clock::time_point now);
  void Forget() { losses_.clear(); }

 private:
  std::deque<Clock::time_point> losses_;
};

}  // namespace remote
