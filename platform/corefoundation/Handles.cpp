// Handles: blocks of memory behind a pointer to a pointer.
#include <CoreServices/CoreServices.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

// A handle is the address of `start`, so the block is found from it.
struct Block {
  Ptr start;
  Size size;
  alignas(std::max_align_t) char bytes[1];
};

Block* BlockOf(Handle handle) { return reinterpret_cast<Block*>(handle); }

}  // namespace

extern "C" {

Handle NewHandle(Size size) {
  constexpr Size kLargest = PTRDIFF_MAX - static_cast<Size>(sizeof(Block));
  if (size < 0 || size > kLargest) return nullptr;
  auto* const block = static_cast<Block*>(std::malloc(sizeof(Block) + static_cast<size_t>(size)));
  if (block == nullptr) return nullptr;
  block->start = block->bytes;
  block->size = size;
  return &block->start;
}

void DisposeHandle(Handle handle) { std::free(handle); }

Size GetHandleSize(Handle handle) { return handle == nullptr ? 0 : BlockOf(handle)->size; }

// Blocks never move, so there is nothing to hold in place.
void HLock(Handle) {}
void HUnlock(Handle) {}

OSErr PtrToHand(const void* source, Handle* handle, Size size) {
  *handle = NewHandle(size);
  if (*handle == nullptr) return memFullErr;
  if (size > 0) std::memcpy(**handle, source, static_cast<size_t>(size));
  return noErr;
}

}  // extern "C"
