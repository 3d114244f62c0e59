// The device's RGB: one object without content, which is never freed.
#include <CoreGraphics/CGColorSpace.h>

struct CGColorSpace {};

CGColorSpaceRef CGColorSpaceCreateDeviceRGB() {
  static CGColorSpace deviceRgb;
  return &deviceRgb;
}

void CGColorSpaceRelease(CGColorSpaceRef) {}
