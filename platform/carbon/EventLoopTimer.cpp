// Timers of the main loop.
#include <Carbon/CarbonEvents.h>
#include <CoreFoundation/CFDate.h>
#include <pthread.h>

#include "platform/ThreadSafety.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/Owned.h"

using platform::cf::Owned;

// Owned by whoever installed it, and by the loop's timer until that one is invalid.
struct __EventLoopTimer final : platform::cf::Object {
 public:
  __EventLoopTimer(EventLoopTimerUPP function, void* userData)
      : Object(platform::cf::Type::kEventLoopTimer), function_(function), userData_(userData) {}

  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("EventLoopTimer", this, u"");
  }

  void Start(CFRunLoopRef loop, EventTimerInterval fireDelay, EventTimerInterval interval) {
    CFRunLoopTimerContext context{0, this, CFRetain, CFRelease, nullptr};
    const auto fire = [](CFRunLoopTimerRef, void* self) { static_cast<__EventLoopTimer*>(self)->Fire(); };
    timer_.reset(CFRunLoopTimerCreate(kCFAllocatorDefault, CFAbsoluteTimeGetCurrent() + fireDelay, interval,
                                      0, 0, fire, &context));
    CFRunLoopAddTimer(loop, timer_.get(), kCFRunLoopCommonModes);
  }

  void Stop() EXCLUDES(lock_) {
    {
      const Locked held(lock_);
      stopped_ = true;
      while (firing_ && pthread_equal(thread_, pthread_self()) == 0) changed_.Wait(lock_);
    }
    CFRunLoopTimerInvalidate(timer_.get());
  }

 private:
  // Never called in itself: the loop leaves a timer alone while it fires.
  void Fire() EXCLUDES(lock_) {
    {
      const Locked held(lock_);
      if (stopped_) return;
      firing_ = true;
      thread_ = pthread_self();
    }
    function_(this, userData_);
    const Locked held(lock_);
    firing_ = false;
    changed_.NotifyAll();
  }

  const EventLoopTimerUPP function_;
  void* const userData_;
  Owned<__CFRunLoopTimer> timer_;
  Lock lock_;
  Condition changed_;
  bool stopped_ GUARDED_BY(lock_) = false;
  bool firing_ GUARDED_BY(lock_) = false;
  pthread_t thread_ GUARDED_BY(lock_){};  // that fires it
};

EventLoopRef GetMainEventLoop() { return reinterpret_cast<EventLoopRef>(CFRunLoopGetMain()); }

EventLoopTimerUPP NewEventLoopTimerUPP(EventLoopTimerProcPtr userRoutine) { return userRoutine; }

OSStatus InstallEventLoopTimer(EventLoopRef loop, EventTimerInterval fireDelay, EventTimerInterval interval,
                               EventLoopTimerUPP function, void* userData, EventLoopTimerRef* timer) {
  if (loop == nullptr || function == nullptr || timer == nullptr) return paramErr;
  *timer = new __EventLoopTimer(function, userData);
  (*timer)->Start(reinterpret_cast<CFRunLoopRef>(loop), fireDelay, interval);
  return noErr;
}

OSStatus RemoveEventLoopTimer(EventLoopTimerRef timer) {
  if (timer == nullptr) return paramErr;
  timer->Stop();
  timer->Release();
  return noErr;
}
