#include "tests/platform/x11/Pictures.h"

namespace test {

Context ContextOver(uint32_t* pixels, int width, int height, int rowPixels) {
  const CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
  const auto rowBytes = static_cast<size_t>(rowPixels == 0 ? width : rowPixels) * sizeof *pixels;
  Context context(CGBitmapContextCreate(pixels, static_cast<size_t>(width), static_cast<size_t>(height), 8,
                                        rowBytes, space,
                                        kCGBitmapByteOrder32Little | kCGImageAlphaNoneSkipFirst));
  CGColorSpaceRelease(space);
  return context;
}

std::vector<uint32_t> PixelsOf(CGImageRef image) {
  if (image == nullptr) return {};
  const auto width = static_cast<int>(CGImageGetWidth(image));
  const auto height = static_cast<int>(CGImageGetHeight(image));
  std::vector<uint32_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
  CGContextDrawImage(ContextOver(pixels.data(), width, height).get(), CGRectMake(0, 0, width, height), image);
  for (uint32_t& pixel : pixels) pixel &= 0xffffff;
  return pixels;
}

Image Capture(CGDirectDisplayID display, double x, double y, double width, double height) {
  return Image(CGDisplayCreateImageForRect(display, CGRectMake(x, y, width, height)));
}

std::vector<CGDirectDisplayID> ActiveDisplays() {
  std::vector<CGDirectDisplayID> displays(16);
  uint32_t count = 0;
  if (CGGetActiveDisplayList(16, displays.data(), &count) != kCGErrorSuccess) count = 0;
  displays.resize(count);
  return displays;
}

}  // namespace test
