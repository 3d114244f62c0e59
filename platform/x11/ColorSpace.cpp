// The device's RGB: one object without content, which is never freed.
#include <CoreGraphics/CGColorSpace.h>

struct CGColorSpace {};

CGColorSpaceRef CGColorSpaceCreateDeviceRGB() {
  static CGColorSpace deviceRgb;
  return &deviceRgb;
}

CGColorSpaceRef CGColorSpaceRetain(CGColorSpaceRef space) { return space; }

void CGColorSpaceRelease(CGColorSpaceRef) {}
