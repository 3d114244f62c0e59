#include "legacy/RCScreenBits.h"

#include <ApplicationServices/ApplicationServices.h>

#include "common/StCFTypeRef.h"

namespace {

// Bits of a pixel; 0 for an encoding that is not known.
int64_t DepthOf(CGDirectDisplayID display) {
  const CGDisplayModeRef mode = CGDisplayCopyDisplayMode(display);
  const StCFTypeRef<CFStringRef> encoding(CGDisplayModeCopyPixelEncoding(mode));
  CGDisplayModeRelease(mode);
  if (encoding == nullptr) return 0;
  const struct {
    CFStringRef encoding;
    int64_t depth;
  } known[] = {{CFSTR("--------RRRRRRRRGGGGGGGGBBBBBBBB"), 32},
               {CFSTR("-RRRRRGGGGGBBBBB"), 16},
               {CFSTR("PPPPPPPP"), 8}};
  for (const auto& [name, depth] : known) {
    if (CFStringCompare(encoding, name, kCFCompareCaseInsensitive) == kCFCompareEqualTo) return depth;
  }
  return 0;
}

}  // namespace

RCScreenBits::RCScreenBits()
    : width_(CGDisplayPixelsWide(CGMainDisplayID())), height_(CGDisplayPixelsHigh(CGMainDisplayID())) {
  bufferSize_ = DepthOf(CGMainDisplayID()) * static_cast<int64_t>(height_) * static_cast<int64_t>(width_);
}
