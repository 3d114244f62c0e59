// One run loop a thread; the main thread's is the application's.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

CFTypeID CFRunLoopGetTypeID();

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

}  // extern "C"
