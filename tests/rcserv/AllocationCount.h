// How often the calling thread has asked operator new for memory; always 0 under the thread sanitizer.
#pragma once
#include <cstdint>

namespace test {

[[nodiscard]] int64_t AllocationsOfThisThread();

}  // namespace test
