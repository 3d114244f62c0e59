// What the other platform folders need of the run loops.
#pragma once
#include <CoreFoundation/CFRunLoop.h>

#include <chrono>

// GLib's, so that only those who add sources include GLib.
struct _GMainContext;

namespace platform::cf {

// Where sources of `loop` go. Borrowed; lives as long as the loop.
_GMainContext* RunLoopContext(CFRunLoopRef loop);

// Runs the main loop over and over: a stop ends only an activation inside it. On the main thread.
[[noreturn]] void RunMainLoopForever();

// Runs the calling thread's loop in `mode` until the descriptor has one of poll's `events`, or is closed by
// its other end; false when `deadline` passed first. With null as the mode no source and no timer of the loop
// is served. A CFRunLoopStop meanwhile ends the run around this one.
[[nodiscard]] bool WaitForDescriptor(int fd, short events, CFStringRef mode,
                                     std::chrono::steady_clock::time_point deadline);

}  // namespace platform::cf
