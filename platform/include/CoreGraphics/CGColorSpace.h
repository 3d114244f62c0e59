// Colour spaces: only the device's RGB.
#pragma once

extern "C" {

using CGColorSpaceRef = struct CGColorSpace*;

CGColorSpaceRef CGColorSpaceCreateDeviceRGB();
CGColorSpaceRef CGColorSpaceRetain(CGColorSpaceRef space);
void CGColorSpaceRelease(CGColorSpaceRef space);  // null is allowed

}  // extern "C"
