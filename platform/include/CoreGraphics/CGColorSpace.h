// Colour spaces: only the device's RGB.
#pragma once

extern "C" {

using CGColorSpaceRef = struct CGColorSpace*;

CGColorSpaceRef CGColorSpaceCreateDeviceRGB();
void CGColorSpaceRelease(CGColorSpaceRef space);  // null is allowed

}  // extern "C"
