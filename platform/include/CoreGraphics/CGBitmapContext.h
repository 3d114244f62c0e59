// Drawing contexts over memory of the caller's.
#pragma once
#include <CoreGraphics/CGColorSpace.h>
#include <CoreGraphics/CGGeometry.h>
#include <CoreGraphics/CGImage.h>

extern "C" {

using CGContextRef = struct CGContext*;

// Draws into `data`, which the caller owns and keeps alive: `height` rows of `bytesPerRow`, row 0 at the top
// of the picture. User space has its origin at the bottom left. RGB; two layouts, both in host order: 8 bits
// a component with kCGBitmapByteOrder32Little | kCGImageAlphaNoneSkipFirst, 4 bytes a pixel; 5 bits with
// kCGImageAlphaNoneSkipFirst, 2 bytes a pixel, the top bit 0. `bytesPerRow` holds a row and is a multiple
// of 4. Null for any other, and for an empty size.
CGContextRef CGBitmapContextCreate(void* data, size_t width, size_t height, size_t bitsPerComponent,
                                   size_t bytesPerRow, CGColorSpaceRef space, CGBitmapInfo bitmapInfo);
void CGContextRelease(CGContextRef context);  // null is allowed

// Draws the image upright into `rect` (user space), scaled when the sizes differ, clipped to the bitmap.
void CGContextDrawImage(CGContextRef context, CGRect rect, CGImageRef image);

}  // extern "C"
