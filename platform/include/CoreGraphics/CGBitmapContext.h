// Drawing contexts over memory of the caller's.
#pragma once
#include <CoreGraphics/CGColorSpace.h>
#include <CoreGraphics/CGGeometry.h>
#include <CoreGraphics/CGImage.h>

extern "C" {

using CGContextRef = struct CGContext*;

// Draws into `data`, which the caller owns and keeps alive: `height` rows of `bytesPerRow`, row 0 at the top
// of the picture. User space has its origin at the bottom left. Supported layout: 8 bits a component, device
// RGB, kCGBitmapByteOrder32Little | kCGImageAlphaNoneSkipFirst, `bytesPerRow` a multiple of 4 and at least 4
// * width. Null for any other, and for an empty size.
CGContextRef CGBitmapContextCreate(void* data, size_t width, size_t height, size_t bitsPerComponent,
                                   size_t bytesPerRow, CGColorSpaceRef space, CGBitmapInfo bitmapInfo);
void CGContextRelease(CGContextRef context);  // null is allowed

// Draws the image upright into `rect` (user space), scaled when the sizes differ, clipped to the bitmap.
void CGContextDrawImage(CGContextRef context, CGRect rect, CGImageRef image);

}  // extern "C"
