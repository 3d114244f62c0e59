// Pixels of images, as the system gets at them: drawn into a bitmap context.
#pragma once
#include <ApplicationServices/ApplicationServices.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace test {

struct ReleaseImage {
  void operator()(CGImageRef image) const noexcept { CGImageRelease(image); }
};
using Image = std::unique_ptr<CGImage, ReleaseImage>;

struct ReleaseContext {
  void operator()(CGContextRef context) const noexcept { CGContextRelease(context); }
};
using Context = std::unique_ptr<CGContext, ReleaseContext>;

// A drawing context over `pixels`, rows of `rowPixels` (as many as `width` when not given) from the top.
[[nodiscard]] Context ContextOver(uint32_t* pixels, int width, int height, int rowPixels = 0);

// 0x00RRGGBB, rows from the top; empty for a null image.
[[nodiscard]] std::vector<uint32_t> PixelsOf(CGImageRef image);

[[nodiscard]] Image Capture(CGDirectDisplayID display, double x, double y, double width, double height);

// The active displays, the main one first.
[[nodiscard]] std::vector<CGDirectDisplayID> ActiveDisplays();

}  // namespace test
