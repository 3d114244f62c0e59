// How often the calling thread has asked operator new for memory.
#pragma once
#include <cstdint>

namespace test {

[[nodiscard]] int64_t AllocationsOfThisThread();

}  // namespace test
