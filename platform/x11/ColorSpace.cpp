// The device's RGB: one object without content, which is never freed.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CGColorSpace.h>

struct CGColorSpace {};

CGColorSpaceRef CGColorSpaceCreateDeviceRGB() {
  static CGColorSpace deviceRgb;
  return &deviceRgb;
}

const CFStringRef kCGColorSpaceGenericRGB = CFSTR("kCGColorSpaceGenericRGB");

CGColorSpaceRef CGColorSpaceCreateWithName(CFStringRef name) {
  return CFEqual(name, kCGColorSpaceGenericRGB) ? CGColorSpaceCreateDeviceRGB() : nullptr;
}

void CGColorSpaceRelease(CGColorSpaceRef) {}
