// Pixels of a display in a buffer that is used again and again.
#pragma once
#include <ApplicationServices/ApplicationServices.h>
#include <OpenGL/OpenGL.h>

#include <cstddef>
#include <cstdint>

#include "legacy/RCScreenBits.h"

// One thread.
class RCScreenBitsOGL : public RCScreenBits {
 public:
  RCScreenBitsOGL();
  ~RCScreenBitsOGL() override;

  // Reads `rect`, widened to whole pixels: rows as wide as that, from the top, 16-bit pixels in host order (5
  // bits a component, the top bit 0); what lies outside the display is 0. `size` receives the bytes, 0 when
  // nothing could be read, which leaves the buffer as it was.
  void GetBufferForRect(CGDirectDisplayID display, CGRect rect, int32_t bytesPerPixel, size_t* size);
  // Borrowed until the next read; null before the first one.
  [[nodiscard]] void* GetBuffer() const { return buffer_; }

  // Makes room for `size` bytes, all of them 0.
  void AllocateBuffer(int64_t size);
  void DeallocateBuffer(void* buffer);
  // Over the buffer, which is made as large; null when there is none. The caller releases.
  [[nodiscard]] CGContextRef CreateARGBBitmapContext(size_t width, size_t height, int32_t bytesPerPixel);

  // Swaps the first row with the last, the second with the one before it, and so on.
  static void FlipScreen(uint16_t* pixels, size_t rowBytes, size_t rows);

 private:
  void* buffer_ = nullptr;
  CGLContextObj context_;  // may be null
};
