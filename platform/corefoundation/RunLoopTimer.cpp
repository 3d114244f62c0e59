#include "platform/corefoundation/RunLoopTimer.h"

#include <CoreFoundation/CFDate.h>

#include <algorithm>
#include <utility>

#include "platform/corefoundation/RunLoopObject.h"
#include "platform/corefoundation/String.h"

using platform::cf::ModeName;
using platform::cf::Owned;
using platform::cf::Share;
using std::chrono::steady_clock;

namespace platform::cf {

steady_clock::duration ClockDuration(CFTimeInterval seconds) {
  constexpr double kLongest = 1e9;  // three decades
  return std::chrono::duration_cast<steady_clock::duration>(
      std::chrono::duration<double>(std::clamp(seconds, 0.0, kLongest)));
}

steady_clock::time_point After(CFTimeInterval seconds) {
  return steady_clock::now() + ClockDuration(seconds);
}

}  // namespace platform::cf

// From here on the monotonic clock counts: a wall clock that is set does not move a timer.
__CFRunLoopTimer::__CFRunLoopTimer(CFAbsoluteTime fireDate, CFTimeInterval interval, CFIndex timerOrder,
                                   CFRunLoopTimerCallBack callback, const CFRunLoopTimerContext& context)
    : Object(platform::cf::Type::kRunLoopTimer),
      order(timerOrder),
      interval_(platform::cf::ClockDuration(interval)),
      callback_(callback),
      context_(platform::cf::WithInfoRetained(context)),
      next_(platform::cf::After(fireDate - CFAbsoluteTimeGetCurrent())) {}

__CFRunLoopTimer::~__CFRunLoopTimer() { Invalidate(); }

std::u16string __CFRunLoopTimer::Description() const {
  const std::chrono::duration<double> seconds = interval_;
  return platform::cf::Describe("CFRunLoopTimer", this,
                                platform::cf::Widen("interval = " + std::to_string(seconds.count())));
}

void __CFRunLoopTimer::AddTo(CFRunLoopRef loop, const std::u16string& mode) {
  {
    const Locked held(lock_);
    if (!valid_ || (loop_ && loop_.get() != loop)) return;
    if (!loop_) loop_ = Share(loop);
  }
  if (!loop->Add(this, mode)) return;
  loop->WakeUp();                          // it may have to wake earlier now
  if (!IsValid()) RemoveFrom(loop, mode);  // invalidated meanwhile
}

void __CFRunLoopTimer::RemoveFrom(CFRunLoopRef loop, const std::u16string& mode) {
  const Owned<__CFRunLoopTimer> taken = loop->Take(this, mode);
  if (!taken || loop->ModeOf(this)) return;
  Owned<__CFRunLoop> dropped;
  const Locked held(lock_);
  dropped = std::move(loop_);
}

void __CFRunLoopTimer::Invalidate() {
  Owned<__CFRunLoop> loop;
  {
    const Locked held(lock_);
    if (!valid_) return;
    valid_ = false;
    loop = std::move(loop_);
  }
  if (loop) {
    while (const auto mode = loop->ModeOf(this)) loop->Take(this, *mode).release()->Release();
    loop->WakeUp();  // it may have nothing more to wait for
  }
  if (context_.release != nullptr) context_.release(context_.info);
}

bool __CFRunLoopTimer::IsValid() {
  const Locked held(lock_);
  return valid_;
}

__CFRunLoopTimer::TimePoint __CFRunLoopTimer::NextFire() {
  const Locked held(lock_);
  return valid_ && !firing_ ? next_ : TimePoint::max();
}

void __CFRunLoopTimer::FireIfDue(TimePoint now) {
  CFRunLoopTimerContext context;  // the timer gives its own up when another thread invalidates it meanwhile
  {
    const Locked held(lock_);
    if (!valid_ || firing_ || next_ > now) return;
    firing_ = true;
    context = platform::cf::WithInfoRetained(context_);
  }
  callback_(this, context.info);
  if (context.retain != nullptr && context.release != nullptr) context.release(context.info);
  if (interval_ == steady_clock::duration::zero()) {
    Invalidate();
    return;
  }
  const Locked held(lock_);
  firing_ = false;
  // What was missed while the loop was busy is left out.
  next_ += interval_ * ((std::max(steady_clock::now(), next_) - next_) / interval_ + 1);
}

extern "C" {

CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                       CFOptionFlags, CFIndex order, CFRunLoopTimerCallBack callback,
                                       CFRunLoopTimerContext* context) {
  return new __CFRunLoopTimer(fireDate, interval, order, callback,
                              context != nullptr ? *context : CFRunLoopTimerContext{});
}

void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer) {
  const Owned<__CFRunLoopTimer> alive = Share(timer);
  timer->Invalidate();
}

void CFRunLoopAddTimer(CFRunLoopRef loop, CFRunLoopTimerRef timer, CFStringRef mode) {
  timer->AddTo(loop, ModeName(mode));
}

}  // extern "C"
