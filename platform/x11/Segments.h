// Memory shared with the X server, into which it writes captured pixels; each piece is an image while it is
// in use.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/ThreadSafety.h"
#include "platform/x11/Image.h"

namespace platform::x11 {

class Connection;
class SegmentPool;

// Owns a mapping of its own; the server has another one of the same memory.
class Segment final : public CGImage {
 public:
  // Takes over the mapping.
  Segment(void* memory, size_t size, uint32_t serverId) : memory_(memory), size_(size), serverId_(serverId) {}
  ~Segment() override;

  // Pixels begin in the middle of a page: copying between rows whose addresses agree in their last twelve
  // bits, or nearly so, is ten times slower than any other copy, and large bitmaps begin near the start of a
  // page.
  static constexpr uint32_t kPixelOffset = 2048;

  [[nodiscard]] const std::byte* Pixels() const {
    return static_cast<const std::byte*>(memory_) + kPixelOffset;
  }
  [[nodiscard]] size_t Size() const { return size_; }
  [[nodiscard]] uint32_t ServerId() const { return serverId_; }

  void Recycle() override;

 private:
  friend class SegmentPool;

  void* memory_;
  size_t size_;
  uint32_t serverId_;
  // Set while the segment is out of the pool, which may be closed before the image is released.
  std::shared_ptr<SegmentPool> pool_;
};

// Keeps segments for the captures of one connection, so that a steady stream of them allocates nothing.
//
// Threads: Take() on the connection's; a segment comes back on the thread that releases its
// image.
class SegmentPool : public std::enable_shared_from_this<SegmentPool> {
 public:
  explicit SegmentPool(Connection& connection) : connection_(connection) {}

  // A segment for at least `bytes` of pixels; null when the server takes
  // none, which is remembered.
  [[nodiscard]] Segment* Take(size_t bytes) EXCLUDES(lock_);

 private:
  friend class Segment;

  void Return(std::unique_ptr<Segment> segment) EXCLUDES(lock_);
  [[nodiscard]] std::unique_ptr<Segment> TakeIdle(size_t bytes) EXCLUDES(lock_);
  [[nodiscard]] std::unique_ptr<Segment> Make(size_t bytes);
  void DropSpare() EXCLUDES(lock_);

  Connection& connection_;
  bool refused_ = false;
  Lock lock_;
  std::vector<std::unique_ptr<Segment>> idle_ GUARDED_BY(lock_);
};

// A file in memory, from which segments and their trial are made: -1 when there is none to be had.
[[nodiscard]] int MakeMemoryFile(size_t bytes);

}  // namespace platform::x11
