#include "platform/x11/Segments.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <bit>
#include <utility>

#include "platform/Handles.h"
#include "platform/x11/Connection.h"

namespace platform::x11 {
namespace {

// More than two displays are rarely captured at a time; what is kept beyond that is memory without use.
constexpr size_t kMostIdle = 4;
// For 256 x 256 pixels, a usual change.
constexpr size_t kSmallest = size_t{256} * 256 * 4 + Segment::kPixelOffset;

// Descriptors can be handed over through a local socket only.
bool IsLocal(int fd) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  return getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0 && address.ss_family == AF_UNIX;
}

bool Smaller(const std::unique_ptr<Segment>& a, const std::unique_ptr<Segment>& b) {
  return a->Size() < b->Size();
}

}  // namespace

int MakeMemoryFile(size_t bytes) {
  UniqueFd file(memfd_create("captured pixels", MFD_CLOEXEC));
  if (!file || posix_fallocate(file.Get(), 0, static_cast<off_t>(bytes)) != 0) return -1;
  return file.Release();
}

Segment::~Segment() { munmap(memory_, size_); }

void Segment::Recycle() {
  const std::shared_ptr<SegmentPool> pool = std::move(pool_);
  pool->Return(std::unique_ptr<Segment>(this));
}

Segment* SegmentPool::Take(size_t bytes) {
  const size_t size = bytes + Segment::kPixelOffset;
  std::unique_ptr<Segment> segment = TakeIdle(size);
  if (!segment) {
    DropSpare();
    segment = Make(std::bit_ceil(std::max(size, kSmallest)));
  }
  if (!segment) return nullptr;
  segment->pool_ = shared_from_this();
  return segment.release();
}

std::unique_ptr<Segment> SegmentPool::TakeIdle(size_t bytes) {
  const Locked locked(lock_);
  auto best = idle_.end();
  for (auto candidate = idle_.begin(); candidate != idle_.end(); ++candidate) {
    if ((*candidate)->Size() >= bytes && (best == idle_.end() || Smaller(*candidate, *best)))
      best = candidate;
  }
  if (best == idle_.end()) return nullptr;
  std::unique_ptr<Segment> found = std::move(*best);
  idle_.erase(best);
  return found;
}

std::unique_ptr<Segment> SegmentPool::Make(size_t bytes) {
  if (refused_) return nullptr;
  refused_ = connection_.Extension(xcb_shm_id) == nullptr || !IsLocal(connection_.Fd());
  if (refused_) return nullptr;
  UniqueFd file(MakeMemoryFile(bytes));
  if (!file) return nullptr;
  // Populated now: the first capture would pay for every page.
  void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file.Get(), 0);
  if (memory == MAP_FAILED) return nullptr;
  const uint32_t id = xcb_generate_id(connection_.Get());
  auto segment = std::make_unique<Segment>(memory, bytes, id);
  // XCB closes the descriptor.
  refused_ = !connection_.Succeeded(xcb_shm_attach_fd_checked(connection_.Get(), id, file.Release(), 0));
  return refused_ ? nullptr : std::move(segment);
}

void SegmentPool::DropSpare() {
  std::unique_ptr<Segment> spare;
  {
    const Locked locked(lock_);
    if (idle_.size() < kMostIdle) return;
    const auto smallest = std::min_element(idle_.begin(), idle_.end(), Smaller);
    spare = std::move(*smallest);
    idle_.erase(smallest);
  }
  xcb_shm_detach(connection_.Get(), spare->ServerId());
}

void SegmentPool::Return(std::unique_ptr<Segment> segment) {
  const Locked locked(lock_);
  idle_.push_back(std::move(segment));
}

}  // namespace platform::x11
