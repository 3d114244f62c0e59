#include "platform/x11/Image.h"

void CGImageRelease(CGImageRef image) {
  if (image != nullptr) image->Recycle();
}

size_t CGImageGetWidth(CGImageRef image) { return image == nullptr ? 0 : static_cast<size_t>(image->width); }

size_t CGImageGetHeight(CGImageRef image) {
  return image == nullptr ? 0 : static_cast<size_t>(image->height);
}
