// What was redrawn on the screen.
#pragma once
#include <CoreGraphics/CGError.h>
#include <CoreGraphics/CGGeometry.h>

#include <cstdint>

extern "C" {

// `rects` are global coordinates, borrowed for the call. Runs on the window server's thread.
using CGScreenRefreshCallback = void (*)(uint32_t count, const CGRect* rects, void* userInfo);

// kCGErrorIllegalArgument for a null callback, kCGErrorCannotComplete without a window server.
CGError CGRegisterScreenRefreshCallback(CGScreenRefreshCallback callback, void* userInfo);

// When it returns the callback does not run and never will again (called from inside the callback: after that
// call).
void CGUnregisterScreenRefreshCallback(CGScreenRefreshCallback callback, void* userInfo);

}  // extern "C"
