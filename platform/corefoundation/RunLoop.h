// What the other platform folders need of the run loops.
#pragma once
#include <CoreFoundation/CFRunLoop.h>

// GLib's, so that only those who add sources include GLib.
struct _GMainContext;

namespace platform::cf {

// Where sources of `loop` go. Borrowed; lives as long as the loop.
_GMainContext* RunLoopContext(CFRunLoopRef loop);

// Runs the main loop over and over: a stop ends only an activation inside it. On the main thread.
[[noreturn]] void RunMainLoopForever();

}  // namespace platform::cf
