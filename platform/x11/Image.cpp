#include "platform/x11/Image.h"

CGImageRef CGImageRetain(CGImageRef image) {
  if (image != nullptr) image->references.fetch_add(1, std::memory_order_relaxed);
  return image;
}

void CGImageRelease(CGImageRef image) {
  if (image != nullptr && image->references.fetch_sub(1, std::memory_order_acq_rel) == 1) image->Recycle();
}

size_t CGImageGetWidth(CGImageRef image) { return image == nullptr ? 0 : static_cast<size_t>(image->width); }

size_t CGImageGetHeight(CGImageRef image) {
  return image == nullptr ? 0 : static_cast<size_t>(image->height);
}
