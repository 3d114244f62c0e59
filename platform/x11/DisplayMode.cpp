// How displays are driven: all alike, as there is one root.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CGDirectDisplay.h>

#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/Displays.h"
#include "platform/x11/RootFormat.h"

struct CGDisplayMode {
  pixman_format_code_t pixels;
};

namespace {

using namespace platform::x11;

CFStringRef EncodingOf(pixman_format_code_t pixels) {
  switch (pixels) {
    case PIXMAN_x8r8g8b8:
      return CFSTR("--------RRRRRRRRGGGGGGGGBBBBBBBB");
    case PIXMAN_x8b8g8r8:
      return CFSTR("--------BBBBBBBBGGGGGGGGRRRRRRRR");
    case PIXMAN_x2r10g10b10:
      return CFSTR("--RRRRRRRRRRGGGGGGGGGGBBBBBBBBBB");
    case PIXMAN_x2b10g10r10:
      return CFSTR("--BBBBBBBBBBGGGGGGGGGGRRRRRRRRRR");
    case PIXMAN_r5g6b5:
      return CFSTR("RRRRRGGGGGGBBBBB");
    case PIXMAN_x1r5g5b5:
      return CFSTR("-RRRRRGGGGGBBBBB");
    default:
      return nullptr;
  }
}

}  // namespace

size_t CGDisplayPixelsWide(CGDirectDisplayID display) {
  return static_cast<size_t>(CGRectGetWidth(CGDisplayBounds(display)));
}

size_t CGDisplayPixelsHigh(CGDirectDisplayID display) {
  return static_cast<size_t>(CGRectGetHeight(CGDisplayBounds(display)));
}

CGDisplayModeRef CGDisplayCopyDisplayMode(CGDirectDisplayID display) {
  const CallScope scope;
  const auto displays = Displays::Instance().Now();
  Connection* const connection = Connection::Current();
  if (!displays || connection == nullptr || Find(*displays, display) == nullptr) return nullptr;
  const auto format = ReadRootFormat(*connection);
  return format ? new CGDisplayMode{format->pixels} : nullptr;
}

void CGDisplayModeRelease(CGDisplayModeRef mode) { delete mode; }

CFStringRef CGDisplayModeCopyPixelEncoding(CGDisplayModeRef mode) {
  const CFStringRef encoding = mode == nullptr ? nullptr : EncodingOf(mode->pixels);
  return encoding == nullptr ? nullptr : static_cast<CFStringRef>(CFRetain(encoding));
}
