// The displays of the session and what they show. Any thread; global coordinates are desktop pixels, y
// downwards.
#pragma once
#include <CoreFoundation/CFBase.h>
#include <CoreGraphics/CGError.h>
#include <CoreGraphics/CGGeometry.h>
#include <CoreGraphics/CGImage.h>

#include <cstdint>

using CGDirectDisplayID = uint32_t;
inline constexpr CGDirectDisplayID kCGNullDirectDisplay = 0;

extern "C" {

// Both fill `displays` (may be null when only the count is wanted) with at most `maxDisplays` identifiers,
// the main display first, and `count` with how many were written (with a null array: how many there are).
// kCGErrorIllegalArgument for a null count; kCGErrorCannotComplete, and a count of 0, without a window
// server.
CGError CGGetActiveDisplayList(uint32_t maxDisplays, CGDirectDisplayID* displays, uint32_t* count);
CGError CGGetDisplaysWithRect(CGRect rect, uint32_t maxDisplays, CGDirectDisplayID* displays,
                              uint32_t* count);

// kCGNullDirectDisplay when there is none.
CGDirectDisplayID CGMainDisplayID();

// CGRectZero for an unknown display.
CGRect CGDisplayBounds(CGDirectDisplayID display);
uint32_t CGDisplayIsMain(CGDirectDisplayID display);

// Stable for a display as long as the process lives, also over unplug and replug.
uint32_t CGDisplayUnitNumber(CGDirectDisplayID display);

// In pixels; 0 for an unknown display.
size_t CGDisplayPixelsWide(CGDirectDisplayID display);
size_t CGDisplayPixelsHigh(CGDirectDisplayID display);

// How the display is driven now: numbers under these keys. Null for an unknown display. Borrowed, and never
// freed. The mode's own number, which the server gives, and its refresh rate in Hz are 0 when the server does
// not tell.
extern const CFStringRef kCGDisplayWidth;   // in pixels
extern const CFStringRef kCGDisplayHeight;  // in pixels
extern const CFStringRef kCGDisplayBitsPerPixel;
extern const CFStringRef kCGDisplayRefreshRate;
extern const CFStringRef kCGDisplayMode;
CFDictionaryRef CGDisplayCurrentMode(CGDirectDisplayID display);

// Drives the display as `mode` says, which came from CGDisplayCurrentMode: of its numbers, the mode's own one
// counts. The other displays stay where they are. kCGErrorIllegalArgument for a display that is unknown and
// for a mode that is null, describes none or is not one of the display's (any more); kCGErrorCannotComplete
// when the server refuses, and without one.
CGError CGDisplaySwitchToMode(CGDirectDisplayID display, CFDictionaryRef mode);

// The same for its pixels; null for an unknown one. The caller releases (null is allowed).
using CGDisplayModeRef = struct CGDisplayMode*;
CGDisplayModeRef CGDisplayCopyDisplayMode(CGDirectDisplayID display);
void CGDisplayModeRelease(CGDisplayModeRef mode);
// A letter for every bit of a pixel from the highest: R, G, B or "-", as in "-RRRRRGGGGGBBBBB". The caller
// releases.
CFStringRef CGDisplayModeCopyPixelEncoding(CGDisplayModeRef mode);

// The pixels of `rect`, which counts from the display's own top left corner, is rounded outwards to whole
// pixels and is clipped to the display. Null when nothing is left of it, or when the display is gone. The
// caller releases.
CGImageRef CGDisplayCreateImageForRect(CGDirectDisplayID display, CGRect rect);

}  // extern "C"
