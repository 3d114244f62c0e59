#include "legacy/RCRectQueue.h"

#include <algorithm>

#include "common/KCDebugging.h"
#include "legacy/RCDisplayManager.h"

namespace {

// Several of the messages name another function or call than the one that failed; whoever reads logs knows
// them so.
constexpr char kEnqueueLock[] = "RCRectQueue::Enqueue:: pthread_mutex_lock err=%ld";
constexpr char kDequeueLock[] = "RCRectQueue::Dequeue:: pthread_mutex_lock err=%ld";

// Single precision: where rounding makes a union as large as its parts, it is taken.
float Area(CGRect rect) { return static_cast<float>(CGRectGetWidth(rect) * CGRectGetHeight(rect)); }

bool WastesNothing(CGRect a, CGRect b, CGRect both) {
  const float parts = Area(b) + Area(a);
  return parts >= Area(both);
}

}  // namespace

RCRectQueue::RCRectQueue() {
  int err = pthread_mutex_init(&mutex_, nullptr);
  KCSignalIf(err != 0, "RCRectQueue::RCRectQueue:: pthread_mutex_init err=%ld", static_cast<long>(err));
  err = pthread_cond_init(&arrived_, nullptr);
  KCSignalIf(err != 0, "RCRectQueue::RCRectQueue:: pthread_cond_init err=%ld", static_cast<long>(err));
}

RCRectQueue::~RCRectQueue() {
  FlushQueue();
  int err = pthread_mutex_destroy(&mutex_);
  KCSignalIf(err != 0, "RCRectQueue::~RCRectQueue:: pthread_mutex_destroy err=%ld", static_cast<long>(err));
  err = pthread_cond_destroy(&arrived_);
  KCSignalIf(err != 0, "RCRectQueue::~RCRectQueue:: pthread_cond_destroy err=%ld", static_cast<long>(err));
}

void RCRectQueue::Enqueue(CGRect rect) { Enqueue(1, &rect); }

void RCRectQueue::Enqueue(uint32_t count, const CGRect* rects) {
  int err = pthread_mutex_lock(&mutex_);
  KCSignalIf(err != 0, kEnqueueLock, static_cast<long>(err));

  CGRect* const all = AllocateRectArray(count_ + count);
  std::copy_n(rects_, count_, all);
  std::copy_n(rects, count, all + count_);
  uint32_t kept = count_ + count;
  if (count_ != 0) {
    DeallocateRectArray(rects_);
    uint32_t merged = 0;
    while (const uint32_t now = MergeRects(kept, all)) merged += now;
    if (merged != 0) kept = RemoveEmptyRects(kept, all);
  }
  rects_ = all;
  count_ = kept;

  err = pthread_mutex_unlock(&mutex_);
  KCSignalIf(err != 0, kEnqueueLock, static_cast<long>(err));
  err = pthread_cond_signal(&arrived_);
  KCSignalIf(err != 0, "RCRectQueue::Enqueue:: pthread_cond_signal err=%ld", static_cast<long>(err));
}

void RCRectQueue::EnqueueAllDisplays() {
  RCDisplayManager& displays = RCDisplayManager::instance();
  for (int32_t index = 0; index < displays.displayCount(); ++index) {
    Enqueue(displays.displayBounds(displays.displayID(index)));
  }
}

void RCRectQueue::Dequeue(uint32_t* count, CGRect** rects) {
  int err = pthread_mutex_lock(&mutex_);
  KCSignalIf(err != 0, kDequeueLock, static_cast<long>(err));
  while (count_ == 0) {
    err = pthread_cond_wait(&arrived_, &mutex_);
    KCSignalIf(err != 0, kDequeueLock, static_cast<long>(err));
  }
  *count = count_;
  *rects = rects_;
  count_ = 0;
  rects_ = nullptr;
  err = pthread_mutex_unlock(&mutex_);
  KCSignalIf(err != 0, kDequeueLock, static_cast<long>(err));
}

void RCRectQueue::FlushQueue() {
  int err = pthread_mutex_lock(&mutex_);
  KCSignalIf(err != 0, "RCRectQueue::~RCRectQueue:: pthread_mutex_lock err=%ld", static_cast<long>(err));
  DeallocateRectArray(rects_);
  rects_ = nullptr;
  count_ = 0;
  err = pthread_mutex_unlock(&mutex_);
  KCSignalIf(err != 0, "RCRectQueue::~RCRectQueue:: pthread_mutex_unlock err=%ld", static_cast<long>(err));
  err = pthread_cond_broadcast(&arrived_);
  KCSignalIf(err != 0, "RCRectQueue::~RCRectQueue:: pthread_cond_broadcast err=%ld", static_cast<long>(err));
}

CGRect* RCRectQueue::AllocateRectArray(uint32_t count) {
  const auto bytes = static_cast<CFIndex>(count * sizeof(CGRect));
  return static_cast<CGRect*>(CFAllocatorAllocate(kCFAllocatorDefault, bytes, 0));
}

void RCRectQueue::DeallocateRectArray(CGRect* rects) {
  if (rects != nullptr) CFAllocatorDeallocate(kCFAllocatorDefault, rects);
}

uint32_t RCRectQueue::MergeRects(uint32_t count, CGRect* rects) {
  uint32_t merged = 0;
  for (uint32_t i = 0; i < count; ++i) {
    if (CGRectIsEmpty(rects[i])) continue;
    for (uint32_t j = 0; j < count; ++j) {
      if (j == i || CGRectIsEmpty(rects[j]) || !CGRectIntersectsRect(rects[i], rects[j])) continue;
      const CGRect both = CGRectUnion(rects[i], rects[j]);
      if (!WastesNothing(rects[i], rects[j], both)) continue;
      rects[i] = both;
      rects[j] = CGRectZero;
      ++merged;
    }
  }
  return merged;
}

uint32_t RCRectQueue::RemoveEmptyRects(uint32_t count, CGRect* rects) {
  CGRect* const end = std::remove_if(rects, rects + count, CGRectIsEmpty);
  return static_cast<uint32_t>(end - rects);
}
