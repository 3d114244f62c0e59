// Notices of displays that come, go, move or change their size.
#pragma once
#include <CoreGraphics/CGDirectDisplay.h>

enum : uint32_t {
  kCGDisplayBeginConfigurationFlag = 1U << 0,
  kCGDisplayMovedFlag = 1U << 1,
  kCGDisplaySetMainFlag = 1U << 2,
  kCGDisplaySetModeFlag = 1U << 3,
  kCGDisplayAddFlag = 1U << 4,
  kCGDisplayRemoveFlag = 1U << 5,
  kCGDisplayDesktopShapeChangedFlag = 1U << 12
};
using CGDisplayChangeSummaryFlags = uint32_t;

extern "C" {

using CGDisplayReconfigurationCallBack = void (*)(CGDirectDisplayID display,
                                                  CGDisplayChangeSummaryFlags flags, void* userInfo);

// The callback runs on the window server's thread: once for each display before a change (begin flag), once
// for each after it (what changed). The pair of function and user data is the registration.
// kCGErrorIllegalArgument for a null callback, kCGErrorCannotComplete without a window server.
CGError CGDisplayRegisterReconfigurationCallback(CGDisplayReconfigurationCallBack callback, void* userInfo);

// When it returns the callback does not run and never will again (called from inside the callback: after that
// call). kCGErrorIllegalArgument when there is no such registration.
CGError CGDisplayRemoveReconfigurationCallback(CGDisplayReconfigurationCallBack callback, void* userInfo);

}  // extern "C"
