// Waits while the main loop runs.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <chrono>

namespace test {

// On the main thread. True as soon as `condition()` holds; false when the deadline has passed and it still
// does not.
template <class Predicate>
[[nodiscard]] bool RunMainLoopUntil(Predicate condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition() && std::chrono::steady_clock::now() < deadline) {
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.002, true);
  }
  return condition();
}

}  // namespace test
