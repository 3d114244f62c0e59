// One run loop a thread; the main thread's is the application's.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

CFTypeID CFRunLoopGetTypeID();

// Borrowed; the loop lives as long as its thread.
CFRunLoopRef CFRunLoopGetCurrent();
CFRunLoopRef CFRunLoopGetMain();

// Runs the calling thread's loop until CFRunLoopStop.
void CFRunLoopRun();

// From any thread.
void CFRunLoopStop(CFRunLoopRef loop);

}  // extern "C"
