// What is behind a CGImageRef: pixels in one of the layouts of an X root window.
#pragma once
#include <CoreGraphics/CGImage.h>
#include <pixman.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

// Made with one reference. Immutable while there is one.
struct CGImage {
  CGImage() = default;
  CGImage(const CGImage&) = delete;
  CGImage& operator=(const CGImage&) = delete;
  virtual ~CGImage() = default;

  std::atomic<uint32_t> references{1};
  int width = 0;
  int height = 0;
  // Rows from the top, of `strideBytes`, a multiple of 4.
  size_t strideBytes = 0;
  pixman_format_code_t format = PIXMAN_x8r8g8b8;
  const std::byte* pixels = nullptr;

  // The last reference is gone, on any thread: frees the object, or keeps it for the next capture.
  virtual void Recycle() = 0;
};
