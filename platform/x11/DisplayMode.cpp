// How displays are driven. Their pixels are all alike, as there is one root.
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CGDirectDisplay.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "platform/ThreadSafety.h"
#include "platform/corefoundation/Owned.h"
#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/Controllers.h"
#include "platform/x11/Displays.h"
#include "platform/x11/RootFormat.h"

struct CGDisplayMode {
  pixman_format_code_t pixels;
};

namespace {

using namespace platform::x11;
using platform::cf::Owned;
using DictionaryPtr = Owned<__CFDictionary>;

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

// Every description that there ever was, each once: whoever has one may use it as long as the process lives.
class Descriptions {
 public:
  static Descriptions& Instance() {
    static Descriptions* const instance = new Descriptions;
    return *instance;
  }

  [[nodiscard]] CFDictionaryRef Keep(DictionaryPtr description) EXCLUDES(lock_) {
    const Locked locked(lock_);
    const auto same = std::find_if(kept_.begin(), kept_.end(), [&description](const auto& kept) {
      return CFEqual(kept.get(), description.get()) != 0;
    });
    return same != kept_.end() ? same->get() : kept_.emplace_back(std::move(description)).get();
  }

 private:
  Lock lock_;
  std::vector<DictionaryPtr> kept_ GUARDED_BY(lock_);
};

// A monitor that is a part of what a controller shows, or more, has no mode of its own.
Controller ControllerOf(Connection& connection, const DisplayInfo& display) {
  for (const Controller& controller : ReadControllers(connection)) {
    if (controller.area == display.bounds) return controller;
  }
  return {};
}

void SetNumber(const DictionaryPtr& description, CFStringRef key, CFNumberType type, const void* value) {
  const Owned<const __CFNumber> number(CFNumberCreate(kCFAllocatorDefault, type, value));
  CFDictionarySetValue(description.get(), key, number.get());
}

DictionaryPtr Describe(Connection& connection, const DisplayInfo& display) {
  const Controller controller = ControllerOf(connection, display);
  const struct {
    CFStringRef key;
    long value;
  } entries[] = {{kCGDisplayWidth, display.bounds.Width()},
                 {kCGDisplayHeight, display.bounds.Height()},
                 {kCGDisplayBitsPerPixel, static_cast<long>(RootBitsPerPixel(connection))},
                 {kCGDisplayMode, static_cast<long>(controller.mode)}};
  DictionaryPtr description(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                      &kCFTypeDictionaryValueCallBacks));
  for (const auto& [key, value] : entries) SetNumber(description, key, kCFNumberLongType, &value);
  SetNumber(description, kCGDisplayRefreshRate, kCFNumberDoubleType, &controller.refreshRate);
  return description;
}

// Nothing for a dictionary that describes no mode.
std::optional<uint32_t> NumberOf(CFDictionaryRef mode) {
  const void* const value = CFDictionaryGetValue(mode, kCGDisplayMode);
  int64_t number = -1;
  if (value == nullptr || CFGetTypeID(value) != CFNumberGetTypeID()) return std::nullopt;
  CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number);
  if (!std::in_range<uint32_t>(number)) return std::nullopt;
  return static_cast<uint32_t>(number);
}

}  // namespace

extern "C" {
const CFStringRef kCGDisplayWidth = CFSTR("Width");
const CFStringRef kCGDisplayHeight = CFSTR("Height");
const CFStringRef kCGDisplayBitsPerPixel = CFSTR("BitsPerPixel");
const CFStringRef kCGDisplayRefreshRate = CFSTR("RefreshRate");
const CFStringRef kCGDisplayMode = CFSTR("Mode");
}

CFDictionaryRef CGDisplayCurrentMode(CGDirectDisplayID display) {
  const CallScope scope;
  const auto displays = Displays::Instance().Now();
  Connection* const connection = Connection::Current();
  const DisplayInfo* const info = displays ? Find(*displays, display) : nullptr;
  if (info == nullptr || connection == nullptr) return nullptr;
  return Descriptions::Instance().Keep(Describe(*connection, *info));
}

CGError CGDisplaySwitchToMode(CGDirectDisplayID display, CFDictionaryRef mode) {
  const std::optional<uint32_t> number = mode == nullptr ? std::nullopt : NumberOf(mode);
  if (!number) return kCGErrorIllegalArgument;
  const CallScope scope;
  Connection* const connection = Connection::Current();
  // What is kept could be older than the mode that was set last.
  const auto displays = connection == nullptr ? nullptr : Displays::Instance().Ask(*connection);
  if (!displays) return kCGErrorCannotComplete;
  const DisplayInfo* const info = Find(*displays, display);
  if (info == nullptr) return kCGErrorIllegalArgument;
  const Controller controller = ControllerOf(*connection, *info);
  if (controller.mode == *number) return kCGErrorSuccess;
  if (controller.id == 0) return kCGErrorIllegalArgument;
  const CGError error = SwitchController(*connection, controller.id, *number);
  Displays::Instance().Forget();
  return error;
}

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
