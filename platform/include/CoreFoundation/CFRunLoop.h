// One run loop a thread; the main thread's is the application's.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

extern const CFStringRef kCFRunLoopDefaultMode;
extern const CFStringRef kCFRunLoopCommonModes;

enum CFRunLoopRunResult : SInt32 {
  kCFRunLoopRunFinished = 1,
  kCFRunLoopRunStopped = 2,
  kCFRunLoopRunTimedOut = 3,
  kCFRunLoopRunHandledSource = 4
};

// Borrowed; a loop lives as long as its thread. The main thread is the one that ran static initialisation;
// its loop can be asked for on any thread.
CFRunLoopRef CFRunLoopGetCurrent();
CFRunLoopRef CFRunLoopGetMain();

// Runs the calling thread's loop until CFRunLoopStop. A loop that nothing can wake ends at once; the main
// loop never counts as such.
void CFRunLoopRun();

// From any thread. Ends the innermost run that is under way; a loop that does not run is not affected, nor is
// its next run.
void CFRunLoopStop(CFRunLoopRef loop);

// Runs the calling thread's loop for at most `seconds`. TimedOut, Stopped, Finished when nothing is there
// that could wake it, or HandledSource when `returnAfterSourceHandled` is set and a source (no timer) was
// served.
CFRunLoopRunResult CFRunLoopRunInMode(CFStringRef mode, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled);

// From any thread.
void CFRunLoopWakeUp(CFRunLoopRef loop);

// ---- sources: from any thread; called on the thread of the loop

// `copyDescription`, `equal` and `hash` are not called. `schedule` and `cancel` are, for each mode, on the
// thread that adds or removes the source.
struct CFRunLoopSourceContext {
  CFIndex version;  // 0
  void* info;
  const void* (*retain)(const void* info);
  void (*release)(const void* info);
  CFStringRef (*copyDescription)(const void* info);
  Boolean (*equal)(const void* a, const void* b);
  CFHashCode (*hash)(const void* info);
  void (*schedule)(void* info, CFRunLoopRef loop, CFStringRef mode);
  void (*cancel)(void* info, CFRunLoopRef loop, CFStringRef mode);
  void (*perform)(void* info);
};

// Sources of a lower order are served first.
CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef allocator, CFIndex order,
                                         CFRunLoopSourceContext* context);
// The source is served once at the next turn of its loop, which must be woken.
void CFRunLoopSourceSignal(CFRunLoopSourceRef source);
void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source);
Boolean CFRunLoopSourceIsValid(CFRunLoopSourceRef source);
void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode);
void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode);

// ---- timers: likewise

// `copyDescription` is not called.
struct CFRunLoopTimerContext {
  CFIndex version;  // 0
  void* info;
  const void* (*retain)(const void* info);
  void (*release)(const void* info);
  CFStringRef (*copyDescription)(const void* info);
};
using CFRunLoopTimerCallBack = void (*)(CFRunLoopTimerRef timer, void* info);

// An interval of 0 seconds or less fires once, and the timer is then invalid. What a busy loop misses of the
// others is left out. Setting the clock does not move a timer that is there.
CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef allocator, CFAbsoluteTime fireDate,
                                       CFTimeInterval interval, CFOptionFlags flags, CFIndex order,
                                       CFRunLoopTimerCallBack callback, CFRunLoopTimerContext* context);
void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer);
void CFRunLoopAddTimer(CFRunLoopRef loop, CFRunLoopTimerRef timer, CFStringRef mode);

}  // extern "C"
