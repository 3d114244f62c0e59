// Immutable pictures, and the names of their pixel layouts.
#pragma once
#include <cstddef>
#include <cstdint>

using CGBitmapInfo = uint32_t;
enum : CGBitmapInfo {
  kCGImageAlphaNone = 0,
  kCGImageAlphaPremultipliedLast = 1,
  kCGImageAlphaPremultipliedFirst = 2,
  kCGImageAlphaNoneSkipLast = 5,
  kCGImageAlphaNoneSkipFirst = 6,
  kCGBitmapByteOrder16Little = 1U << 12,
  kCGBitmapByteOrder32Little = 2U << 12,
  kCGBitmapByteOrder16Big = 3U << 12,
  kCGBitmapByteOrder32Big = 4U << 12
};

extern "C" {

using CGImageRef = struct CGImage*;

void CGImageRelease(CGImageRef image);     // null is allowed
size_t CGImageGetWidth(CGImageRef image);  // 0 for null
size_t CGImageGetHeight(CGImageRef image);

}  // extern "C"
