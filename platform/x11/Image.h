// What is behind a CGImageRef: pixels in one of the layouts of an X root window.
#pragma once
#include <CoreGraphics/CGImage.h>
#include <pixman.h>

#include <cstddef>

// Has one owner, as there is no way to share one. Immutable until it is released.
struct CGImage {
  CGImage() = default;
  CGImage(const CGImage&) = delete;
  CGImage& operator=(const CGImage&) = delete;
  virtual ~CGImage() = default;

  int width = 0;
  int height = 0;
  // Rows from the top, of `strideBytes`, a multiple of 4.
  size_t strideBytes = 0;
  pixman_format_code_t format = PIXMAN_x8r8g8b8;
  const std::byte* pixels = nullptr;

  // Released, on any thread: frees the object, or keeps it for the next capture.
  virtual void Recycle() = 0;
};
