// What a piece of code says on standard error.
#pragma once
#include <gtest/gtest.h>

#include <string>

namespace test {

// Runs `body` with standard error going to a file, and returns all of it. Not for other processes' output
// alone: whatever writes to the descriptor meanwhile is in it.
template <class Body>
[[nodiscard]] std::string StandardErrorOf(const Body& body) {
  testing::internal::CaptureStderr();
  body();
  return testing::internal::GetCapturedStderr();
}

}  // namespace test
