// Records of any length and content, and starts and stops at any place among them. The events end in a model
// of the session here, without a display: whatever came, nothing is held, locked or dark after the end.
//
// Input: steps. The low three bits of a step's first byte choose it; the upper five are how many of the bytes
// behind it are its record's.
#include <Carbon/Carbon.h>
#include <CoreGraphics/CGDisplayFade.h>

#include <algorithm>
#include <bitset>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>

#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "input/RCKeyAndMouse.h"

namespace {

struct Session {
  std::bitset<128> keys;
  bool left = false;
  bool right = false;
  bool locked = false;
  bool dark = false;
} session;

void Check(bool holds) {
  if (!holds) std::abort();
}

bool IsFree() {
  return session.keys.none() && !session.left && !session.right && !session.locked && !session.dark;
}

}  // namespace

// What the injector calls, in place of the display's.
extern "C" {

CGError CGPostMouseEvent(CGPoint, boolean_t, CGButtonCount count, boolean_t leftDown, ...) {
  Check(count == 2);
  va_list others;
  va_start(others, leftDown);
  session.left = leftDown != 0;
  session.right = va_arg(others, boolean_t) != 0;
  va_end(others);
  return kCGErrorSuccess;
}

// Some keys are missing.
CGError CGPostKeyboardEvent(CGCharCode, CGKeyCode key, boolean_t down) {
  if (key >= session.keys.size() || key % 7 == 5) return kCGErrorNoneAvailable;
  session.keys[key] = down != 0;
  return kCGErrorSuccess;
}

CGError CGInhibitLocalEvents(boolean_t inhibit) {
  session.locked = inhibit != 0;
  return kCGErrorSuccess;
}
CGError CGEnableEventStateCombining(boolean_t) { return kCGErrorSuccess; }
CGError CGSetLocalEventsFilterDuringSuppressionState(CGEventFilterMask, CGEventSuppressionState) {
  return kCGErrorSuccess;
}

CGError CGAcquireDisplayFadeReservation(float, CGDisplayFadeReservationToken* token) {
  *token = 1;
  return kCGErrorSuccess;
}
CGError CGDisplayFade(CGDisplayFadeReservationToken, float, CGDisplayBlendFraction, CGDisplayBlendFraction to,
                      float, float, float, int) {
  session.dark = to != kCGDisplayBlendNormal;
  return kCGErrorSuccess;
}
CGError CGReleaseDisplayFadeReservation(CGDisplayFadeReservationToken) { return kCGErrorSuccess; }
CGError CGSetDisplayTransferByFormula(CGDirectDisplayID, CGGammaValue, CGGammaValue, CGGammaValue,
                                      CGGammaValue, CGGammaValue, CGGammaValue, CGGammaValue, CGGammaValue,
                                      CGGammaValue) {
  return kCGErrorSuccess;
}
void CGDisplayRestoreColorSyncSettings() {}

// A layout whose keys yield characters from the space on, with Shift those from the letters on.
const CFStringRef kTISPropertyUnicodeKeyLayoutData = CFSTR("layout");
const CFStringRef kTISPropertyInputSourceID = CFSTR("identifier");
TISInputSourceRef TISCopyCurrentKeyboardLayoutInputSource() {
  static const UInt8 kLayout = 0;
  return reinterpret_cast<TISInputSourceRef>(const_cast<void*>(
      static_cast<const void*>(CFDataCreate(kCFAllocatorDefault, &kLayout, sizeof kLayout))));
}
TISInputSourceRef TISCopyCurrentKeyboardInputSource() { return nullptr; }
void* TISGetInputSourceProperty(TISInputSourceRef source, CFStringRef) { return source; }
UInt8 LMGetKbdType() { return 0; }
OSStatus UCKeyTranslate(const UCKeyboardLayout*, UInt16 virtualKey, UInt16, UInt32 modifiers, UInt32,
                        OptionBits, UInt32*, UniCharCount, UniCharCount* length, UniChar* text) {
  *length = 1;
  *text = static_cast<UniChar>((modifiers == 0 ? ' ' : 'A') + virtualKey % 48);
  return noErr;
}

}  // extern "C"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ASLSetFilter(0);
  std::optional<RCKeyAndMouse> input(std::in_place);
  std::span<const uint8_t> rest(data, size);
  while (!rest.empty()) {
    const uint8_t step = rest[0] & 7;
    const size_t length = std::min<size_t>(rest[0] >> 3, rest.size() - 1);
    const StCFTypeRef<CFDataRef> record(
        CFDataCreate(kCFAllocatorDefault, rest.data() + 1, static_cast<CFIndex>(length)));
    rest = rest.subspan(1 + length);
    switch (step) {
      case 0:
        if (const auto start = ReadRecord<ViewStartRecord>(record)) input->Handle_CMD_VIEW_START(&*start);
        input->StartHID();
        break;
      case 1:
        // Characters that came before any start are held, too.
        input->StartHID();
        input->StopHID();
        Check(IsFree());
        break;
      case 2:
      case 3:
        input->ReplyTo_CMD_VIEW_MOUSEEVENT(record, step == 2);
        break;
      case 4:
      case 5:
        input->ReplyTo_CMD_VIEW_KBDEVENT(record);
        break;
      default:
        input->ReplyTo_CMD_VIEW_ASCII_KBDEVENT(record);
        break;
    }
  }
  input.reset();
  Check(IsFree());
  return 0;
}
