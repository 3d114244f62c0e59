// Waits for a condition instead of for time to pass.
#pragma once
#include <chrono>
#include <thread>

namespace test {

// True as soon as `condition()` holds; false when the deadline has passed and it still does not.
template <class Predicate>
[[nodiscard]] bool WaitFor(Predicate condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return condition();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace test
