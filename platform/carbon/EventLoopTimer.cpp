// Timers of the main loop.
#include <Carbon/CarbonEvents.h>
#include <CoreFoundation/CFDate.h>

#include "platform/carbon/Callout.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/Owned.h"

using platform::carbon::Callout;
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

  void Stop() {
    callout_.End();
    CFRunLoopTimerInvalidate(timer_.get());
  }

 private:
  void Fire() {
    if (const Callout::Turn turn(callout_); turn) function_(this, userData_);
  }

  const EventLoopTimerUPP function_;
  void* const userData_;
  Callout callout_;
  Owned<__CFRunLoopTimer> timer_;
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
