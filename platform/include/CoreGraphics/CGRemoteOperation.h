// What was redrawn on the screen; events posted into the session; local input held back.
#pragma once
#include <CoreFoundation/CFBase.h>
#include <CoreGraphics/CGError.h>
#include <CoreGraphics/CGGeometry.h>

#include <cstdint>

extern "C" {

// Stands for the window server while it answers; null when there is none. Borrowed.
CFMachPortRef CGWindowServerCFMachPort();

// `rects` are global coordinates, borrowed for the call. Runs on the window server's thread.
using CGScreenRefreshCallback = void (*)(uint32_t count, const CGRect* rects, void* userInfo);

// kCGErrorIllegalArgument for a null callback, kCGErrorCannotComplete without a window server.
CGError CGRegisterScreenRefreshCallback(CGScreenRefreshCallback callback, void* userInfo);

// When it returns the callback does not run and never will again (called from inside the callback: after that
// call).
void CGUnregisterScreenRefreshCallback(CGScreenRefreshCallback callback, void* userInfo);

using CGButtonCount = uint32_t;
using CGCharCode = uint16_t;
using CGKeyCode = uint16_t;  // a platform virtual key, 0 to 127
using boolean_t = int;

// ---- posting: the events reach the programs of the session as those of real devices do. Any thread.
// kCGErrorCannotComplete without a window server, kCGErrorNotImplemented when it takes no events.

// The state of `count` buttons follows the position: left, right, others. The pointer moves only when
// `updatePosition` is set.
CGError CGPostMouseEvent(CGPoint position, boolean_t updatePosition, CGButtonCount count, boolean_t leftDown,
                         ...);
// `character` is ignored. kCGErrorNoneAvailable when the keyboard has no such key. Posting Caps Lock does not
// switch the server's own lock.
CGError CGPostKeyboardEvent(CGCharCode character, CGKeyCode key, boolean_t down);

// ---- local input. It ends with the process, however that ends.

// Keyboards and pointers of the machine are silent while `inhibit` is set; posted events pass. An error when
// a device is kept by somebody else.
CGError CGInhibitLocalEvents(boolean_t inhibit);
// The local user's Caps Lock and Num Lock do not change what posted keys yield, combined or not. A keyboard
// layout that was changed before the call is the one that posted keys have after it.
CGError CGEnableEventStateCombining(boolean_t combine);

enum CGEventSuppressionState : uint32_t {
  kCGEventSuppressionStateSuppressionInterval = 0,
  kCGEventSuppressionStateRemoteMouseDrag = 1
};
using CGEventFilterMask = uint32_t;
CGError CGSetLocalEventsFilterDuringSuppressionState(CGEventFilterMask filter, CGEventSuppressionState state);

}  // extern "C"
