// Keyboard layouts and QuickDraw's points, as far as the system calls them.
#pragma once
#include <ApplicationServices/ApplicationServices.h>
#include <Carbon/CarbonEvents.h>
#include <CoreServices/CoreServices.h>

extern "C" {

struct Point {
  short v;
  short h;
};

using TISInputSourceRef = struct __TISInputSource*;
extern const CFStringRef kTISPropertyUnicodeKeyLayoutData;  // a CFDataRef for UCKeyTranslate
extern const CFStringRef kTISPropertyInputSourceID;         // a CFStringRef

// The layout that the session's keyboard has now; null without a window server. The caller releases.
TISInputSourceRef TISCopyCurrentKeyboardLayoutInputSource();
TISInputSourceRef TISCopyCurrentKeyboardInputSource();
// Borrowed; null for a property that the source lacks.
void* TISGetInputSourceProperty(TISInputSourceRef source, CFStringRef property);

struct UCKeyboardLayout;  // the bytes of kTISPropertyUnicodeKeyLayoutData
using UniCharCount = unsigned long;
using OptionBits = UInt32;
enum : UInt16 { kUCKeyActionDown = 0 };
enum : OptionBits { kUCKeyTranslateNoDeadKeysMask = 1 };
enum : UInt32 { shiftKey = 1 << 9, alphaLock = 1 << 10 };
UInt8 LMGetKbdType();

// The text of a virtual key with those modifiers (shiftKey and the like, shifted right by 8). `deadKeyState`
// starts as 0.
OSStatus UCKeyTranslate(const UCKeyboardLayout* layout, UInt16 virtualKey, UInt16 action, UInt32 modifiers,
                        UInt32 keyboardType, OptionBits options, UInt32* deadKeyState, UniCharCount maxLength,
                        UniCharCount* length, UniChar* text);

}  // extern "C"
