// Colour spaces: only the device's RGB, which is the generic one too.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

using CGColorSpaceRef = struct CGColorSpace*;

CGColorSpaceRef CGColorSpaceCreateDeviceRGB();
// Null for any other name.
extern const CFStringRef kCGColorSpaceGenericRGB;
CGColorSpaceRef CGColorSpaceCreateWithName(CFStringRef name);

void CGColorSpaceRelease(CGColorSpaceRef space);  // null is allowed

}  // extern "C"
