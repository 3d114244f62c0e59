// Rectangles that producers report and one consumer takes all at once.
#pragma once
#include <ApplicationServices/ApplicationServices.h>
#include <pthread.h>

#include <cstdint>

// Global desktop coordinates. What arrives behind waiting rectangles is merged with them where that costs no
// area; what arrives at an empty queue waits as it is, overlaps and all.
//
// Threads: any number of producers, one consumer. A failed call of the threads' library is reported, and the
// work goes on.
class RCRectQueue {
 public:
  RCRectQueue();
  ~RCRectQueue();
  RCRectQueue(const RCRectQueue&) = delete;
  RCRectQueue& operator=(const RCRectQueue&) = delete;

  void Enqueue(CGRect rect);
  void Enqueue(uint32_t count, const CGRect* rects);
  // The whole of every display that is served, one after the other.
  void EnqueueAllDisplays();

  // Blocks until rectangles wait, then hands all of them over; the caller gives them back with
  // DeallocateRectArray.
  void Dequeue(uint32_t* count, CGRect** rects);

  // Drops what waits. A consumer that is blocked stays so.
  void FlushQueue();

  [[nodiscard]] static CGRect* AllocateRectArray(uint32_t count);
  static void DeallocateRectArray(CGRect* rects);  // null is allowed

  // One pass over the array: two that intersect become one in the place of the first, and CGRectZero in the
  // place of the second, where their areas add up to at least that of the union. Returns how many were merged
  // away.
  static uint32_t MergeRects(uint32_t count, CGRect* rects);
  // Closes the gaps, in order; returns how many are left.
  static uint32_t RemoveEmptyRects(uint32_t count, CGRect* rects);

 private:
  CGRect* rects_ = nullptr;  // these two under mutex_
  uint32_t count_ = 0;
  pthread_mutex_t mutex_;
  pthread_cond_t arrived_;
};
