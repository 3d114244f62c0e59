// The session's keyboard layout, and the text that its keys yield.
#include <Carbon/Carbon.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/Reference.h"
#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/Keymap.h"

// One of the server's layouts, as it was when it was copied.
struct __TISInputSource final : platform::cf::Object {
  __TISInputSource(CFStringRef name, CFDataRef texts)
      : Object(platform::cf::Type::kInputSource), identifier(name), layout(texts) {}

  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("TISInputSource", this, platform::cf::AsObject(identifier.get())->Text());
  }

  const platform::cf::Reference<CFStringRef> identifier;
  const platform::cf::Reference<CFDataRef> layout;
};

const CFStringRef kTISPropertyUnicodeKeyLayoutData = CFSTR("TISPropertyUnicodeKeyLayoutData");
const CFStringRef kTISPropertyInputSourceID = CFSTR("TISPropertyInputSourceID");

// What kTISPropertyUnicodeKeyLayoutData holds: one UTF-16 unit for each key and each state of Shift and Caps
// Lock; 0: the key yields no text.
struct UCKeyboardLayout {
  enum State : size_t { kPlain, kShift, kCaps, kShiftAndCaps, kStates };
  std::array<char16_t, platform::x11::kVirtualKeyCount> texts[kStates];
};

namespace platform::x11 {
namespace {

constexpr OSStatus kBadParameter = -50;
constexpr OSStatus kOutputBufferTooSmall = -25340;
constexpr UInt8 kAnsiKeyboard = 40;

char16_t TextOf(xkb_keysym_t symbol) {
  const uint32_t character = xkb_keysym_to_utf32(symbol);
  return character <= 0xFFFF ? static_cast<char16_t>(character) : u'\0';
}

// Caps Lock is as the platform knows it: it makes letters capital and does nothing else. Num Lock is on, as
// the platform's keypads have nothing but digits. A key that waits for the next one yields no text.
UCKeyboardLayout TextsOf(const Keyboard& keyboard, xkb_layout_index_t group) {
  xkb_keymap* const keymap = keyboard.keymap.get();
  xkb_state* const state = keyboard.state.get();
  const auto maskOf = [keymap](const char* modifier) {
    const xkb_mod_index_t index = xkb_keymap_mod_get_index(keymap, modifier);
    return index == XKB_MOD_INVALID ? xkb_mod_mask_t{0} : xkb_mod_mask_t{1} << index;
  };
  const xkb_mod_mask_t shift = maskOf(XKB_MOD_NAME_SHIFT);
  const xkb_mod_mask_t numLock = maskOf(XKB_MOD_NAME_NUM);
  const KeyCodes codes = KeyCodesOf(keymap);

  UCKeyboardLayout layout{};
  for (size_t key = 0; key < kVirtualKeyCount; ++key) {
    if (codes[key] == 0) continue;
    xkb_state_update_mask(state, 0, 0, numLock, 0, 0, group);
    const xkb_keysym_t plain = xkb_state_key_get_one_sym(state, codes[key]);
    xkb_state_update_mask(state, shift, 0, numLock, 0, 0, group);
    const xkb_keysym_t shifted = xkb_state_key_get_one_sym(state, codes[key]);
    layout.texts[UCKeyboardLayout::kPlain][key] = TextOf(plain);
    layout.texts[UCKeyboardLayout::kCaps][key] = TextOf(xkb_keysym_to_upper(plain));
    layout.texts[UCKeyboardLayout::kShift][key] = TextOf(shifted);
    layout.texts[UCKeyboardLayout::kShiftAndCaps][key] = TextOf(xkb_keysym_to_upper(shifted));
  }
  return layout;
}

// "com.korvane.keylayout.German", with the name that the server has for it.
std::string IdentifierOf(xkb_keymap* keymap, xkb_layout_index_t group) {
  const char* const name = xkb_keymap_layout_get_name(keymap, group);
  return std::string("com.korvane.keylayout.") + (name == nullptr ? "unknown" : name);
}

TISInputSourceRef CopyCurrent() {
  const CallScope scope;
  Connection* const connection = Connection::Current();
  if (connection == nullptr) return nullptr;
  const Keyboard keyboard = ReadKeyboard(*connection);
  if (!keyboard) return nullptr;
  const xkb_layout_index_t group =
      xkb_state_serialize_layout(keyboard.state.get(), XKB_STATE_LAYOUT_EFFECTIVE);
  const CFStringRef identifier = CFStringCreateWithCString(
      kCFAllocatorDefault, IdentifierOf(keyboard.keymap.get(), group).c_str(), kCFStringEncodingUTF8);
  const UCKeyboardLayout layout = TextsOf(keyboard, group);
  const CFDataRef data =
      CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(&layout), sizeof layout);
  return new __TISInputSource(identifier, data);
}

}  // namespace
}  // namespace platform::x11

TISInputSourceRef TISCopyCurrentKeyboardLayoutInputSource() { return platform::x11::CopyCurrent(); }
TISInputSourceRef TISCopyCurrentKeyboardInputSource() { return platform::x11::CopyCurrent(); }

void* TISGetInputSourceProperty(TISInputSourceRef source, CFStringRef property) {
  if (source == nullptr || property == nullptr) return nullptr;
  const void* value = nullptr;
  if (CFEqual(property, kTISPropertyInputSourceID)) value = source->identifier.get();
  if (CFEqual(property, kTISPropertyUnicodeKeyLayoutData)) value = source->layout.get();
  return const_cast<void*>(value);
}

UInt8 LMGetKbdType() { return platform::x11::kAnsiKeyboard; }

OSStatus UCKeyTranslate(const UCKeyboardLayout* layout, UInt16 virtualKey, UInt16, UInt32 modifiers, UInt32,
                        OptionBits, UInt32* deadKeyState, UniCharCount maxLength, UniCharCount* length,
                        UniChar* text) {
  if (layout == nullptr || virtualKey >= platform::x11::kVirtualKeyCount || deadKeyState == nullptr ||
      length == nullptr || text == nullptr)
    return platform::x11::kBadParameter;
  const bool shift = (modifiers & (shiftKey >> 8)) != 0;
  const bool caps = (modifiers & (alphaLock >> 8)) != 0;
  const size_t state = (shift ? UCKeyboardLayout::kShift : UCKeyboardLayout::kPlain) +
                       (caps ? UCKeyboardLayout::kCaps : UCKeyboardLayout::kPlain);
  const char16_t unit = layout->texts[state][virtualKey];
  *length = 0;
  if (unit == u'\0') return 0;
  if (maxLength == 0) return platform::x11::kOutputBufferTooSmall;
  text[0] = static_cast<UniChar>(unit);
  *length = 1;
  return 0;
}
