// A moment at which a run loop calls, once or again and again.
#pragma once
#include <CoreFoundation/CFRunLoop.h>

#include <chrono>
#include <string>

#include "platform/ThreadSafety.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/Owned.h"

struct __CFRunLoopTimer final : platform::cf::Object {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  __CFRunLoopTimer(CFAbsoluteTime fireDate, CFTimeInterval interval, CFIndex timerOrder,
                   CFRunLoopTimerCallBack callback, const CFRunLoopTimerContext& context);
  ~__CFRunLoopTimer() override;

  [[nodiscard]] std::u16string Description() const override;

  // A timer belongs to one loop; another one is ignored.
  void AddTo(CFRunLoopRef loop, const std::u16string& mode);
  void RemoveFrom(CFRunLoopRef loop, const std::u16string& mode);
  void Invalidate();
  [[nodiscard]] bool IsValid();

  // When it fires next; never while it fires, so that a run inside its callback does not call it again.
  [[nodiscard]] TimePoint NextFire();
  // On the thread of the loop.
  void FireIfDue(TimePoint now);

  const CFIndex order;

 private:
  const std::chrono::steady_clock::duration interval_;  // zero: once
  const CFRunLoopTimerCallBack callback_;
  const CFRunLoopTimerContext context_;
  Lock lock_;
  TimePoint next_ GUARDED_BY(lock_);
  bool firing_ GUARDED_BY(lock_) = false;
  bool valid_ GUARDED_BY(lock_) = true;
  platform::cf::Owned<__CFRunLoop> loop_ GUARDED_BY(lock_);
};

namespace platform::cf {

// `seconds` as far as a clock can count them.
[[nodiscard]] std::chrono::steady_clock::duration ClockDuration(CFTimeInterval seconds);
// That long from now; the end of time when it is too long to be told.
[[nodiscard]] std::chrono::steady_clock::time_point After(CFTimeInterval seconds);

}  // namespace platform::cf
