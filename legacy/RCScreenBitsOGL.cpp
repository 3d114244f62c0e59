#include "legacy/RCScreenBitsOGL.h"

#include <asl.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "common/KCasl.h"
#include "legacy/FullScreenContext.h"
#include "legacy/RCDisplayManager.h"

RCScreenBitsOGL::RCScreenBitsOGL() : context_(CreateContext(CGMainDisplayID())) {}

RCScreenBitsOGL::~RCScreenBitsOGL() {
  if (context_ != nullptr) CGLDestroyContext(context_);
  DeallocateBuffer(buffer_);
}

void RCScreenBitsOGL::GetBufferForRect(CGDirectDisplayID display, CGRect rect, int32_t bytesPerPixel,
                                       size_t* size) {
  *size = 0;
  const CGRect bounds = RCDisplayManager::instance().displayBounds(display);
  const CGRect whole = CGRectStandardize(CGRectIntegral(rect));
  const CGRect local = CGRectOffset(whole, -CGRectGetMinX(bounds), -CGRectGetMinY(bounds));
  const CGRect visible =
      CGRectIntersection(local, CGRectMake(0, 0, CGRectGetWidth(bounds), CGRectGetHeight(bounds)));
  const CGImageRef image = CGRectIsEmpty(visible) ? nullptr : CGDisplayCreateImageForRect(display, visible);
  if (image == nullptr) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "Failed to scrape screen\n");
    return;
  }
  const auto width = static_cast<size_t>(CGRectGetWidth(local));
  const auto height = static_cast<size_t>(CGRectGetHeight(local));
  const CGContextRef context = CreateARGBBitmapContext(width, height, bytesPerPixel);
  if (context != nullptr) {
    // At its place from the top left, also where the rectangle reaches beyond the display; contexts count
    // from below.
    CGContextDrawImage(context,
                       CGRectMake(CGRectGetMinX(visible) - CGRectGetMinX(local),
                                  CGRectGetMaxY(local) - CGRectGetMaxY(visible), CGRectGetWidth(visible),
                                  CGRectGetHeight(visible)),
                       image);
    *size = width * height * static_cast<size_t>(bytesPerPixel);
  }
  CGContextRelease(context);
  CGImageRelease(image);
}

void RCScreenBitsOGL::AllocateBuffer(int64_t size) {
  if (buffer_ == nullptr || bufferSize_ < size) {
    buffer_ = CFAllocatorReallocate(kCFAllocatorDefault, buffer_, static_cast<CFIndex>(size), 0);
    bufferSize_ = size;
  }
  if (buffer_ != nullptr) std::memset(buffer_, 0, static_cast<size_t>(bufferSize_));
}

void RCScreenBitsOGL::DeallocateBuffer(void* buffer) { CFAllocatorDeallocate(kCFAllocatorDefault, buffer); }

CGContextRef RCScreenBitsOGL::CreateARGBBitmapContext(size_t width, size_t height, int32_t bytesPerPixel) {
  constexpr size_t kBitsPerComponent = 5;
  const size_t rowBytes = width * static_cast<size_t>(bytesPerPixel);
  if (height * rowBytes > std::numeric_limits<int32_t>::max()) return nullptr;
  const CGColorSpaceRef space = CGColorSpaceCreateWithName(kCGColorSpaceGenericRGB);
  if (space == nullptr) return nullptr;
  AllocateBuffer(static_cast<int64_t>(height * rowBytes));
  const CGContextRef context = buffer_ == nullptr
                                   ? nullptr
                                   : CGBitmapContextCreate(buffer_, width, height, kBitsPerComponent,
                                                           rowBytes, space, kCGImageAlphaNoneSkipFirst);
  CGColorSpaceRelease(space);
  return context;
}

void RCScreenBitsOGL::FlipScreen(uint16_t* pixels, size_t rowBytes, size_t rows) {
  auto* const bytes = reinterpret_cast<std::byte*>(pixels);
  for (size_t row = 0; row < rows / 2; ++row)
    std::swap_ranges(bytes + row * rowBytes, bytes + (row + 1) * rowBytes,
                     bytes + (rows - 1 - row) * rowBytes);
}
