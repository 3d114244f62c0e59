#include "tests/rcserv/AllocationCount.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int64_t tAllocations = 0;

void* Count(std::size_t size) {
  ++tAllocations;
  return std::malloc(size);
}

}  // namespace

int64_t test::AllocationsOfThisThread() { return tAllocations; }

// Weak, because the thread sanitizer brings its own; under it nothing is counted.
#define REPLACEABLE __attribute__((weak))

REPLACEABLE void* operator new(std::size_t size) {
  if (void* const memory = Count(size)) return memory;
  throw std::bad_alloc();
}
REPLACEABLE void* operator new[](std::size_t size) { return operator new(size); }
REPLACEABLE void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Count(size); }
REPLACEABLE void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Count(size); }
REPLACEABLE void operator delete(void* memory) noexcept { std::free(memory); }
REPLACEABLE void operator delete[](void* memory) noexcept { std::free(memory); }
REPLACEABLE void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
REPLACEABLE void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
