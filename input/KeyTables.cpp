#include "input/KeyTables.h"

#include <Carbon/Carbon.h>

#include <array>

#include "common/StCFTypeRef.h"
#include "platform/ThreadSafety.h"

namespace {

constexpr CGKeyCode kVirtualKeyCount = 128;
constexpr size_t kCharacterCount = 128;

// Keys by character.
using Table = std::array<CGKeyCode, kCharacterCount>;

struct Tables {
  Tables() {
    normal.fill(kNoKey);
    shifted.fill(kNoKey);
  }
  Table normal;
  Table shifted;
};

Lock gLock;
Tables gTables GUARDED_BY(gLock);

// 65 to 92 hold the keypad's keys, between them the volume keys, F18 to F20 and, at 93 and above, those of
// the Japanese main block; 95 is the Japanese keypad's comma. Source: the platform's virtual key codes,
// Events.h.
bool IsKeypad(CGKeyCode key) { return (key >= 65 && key <= 92) || key == 95; }

// The character that the key types; nothing when it types none, or more than one.
UniChar CharacterOf(const UCKeyboardLayout* layout, CGKeyCode key, UInt32 modifiers) {
  UInt32 deadKeyState = 0;
  UniCharCount length = 0;
  std::array<UniChar, 4> text{};
  const OSStatus status =
      UCKeyTranslate(layout, key, kUCKeyActionDown, modifiers >> 8, LMGetKbdType(),
                     kUCKeyTranslateNoDeadKeysMask, &deadKeyState, text.size(), &length, text.data());
  return status == noErr && length == 1 ? text[0] : 0;
}

Table BuildTable(const UCKeyboardLayout* layout, UInt32 modifiers) {
  Table table;
  table.fill(kNoKey);
  for (CGKeyCode key = 0; key < kVirtualKeyCount; ++key) {
    const UniChar character = CharacterOf(layout, key, modifiers);
    if (character == 0 || character >= kCharacterCount) continue;
    // When two keys yield the same character the main block wins over the keypad, then the lower code.
    CGKeyCode& entry = table[character];
    if (entry == kNoKey || (IsKeypad(entry) && !IsKeypad(key))) entry = key;
  }
  return table;
}

}  // namespace

void BuildTables() {
  const StCFTypeRef<TISInputSourceRef> source(TISCopyCurrentKeyboardLayoutInputSource());
  if (source == nullptr) return;
  const auto data =
      static_cast<CFDataRef>(TISGetInputSourceProperty(source, kTISPropertyUnicodeKeyLayoutData));
  if (data == nullptr) return;
  const auto* const layout = reinterpret_cast<const UCKeyboardLayout*>(CFDataGetBytePtr(data));
  // Built aside: another injector types with the tables while they are made anew.
  Tables tables;
  tables.normal = BuildTable(layout, 0);
  tables.shifted = BuildTable(layout, shiftKey);
  const Locked locked(gLock);
  gTables = tables;
}

CGKeyCode FindKey(uint8_t character, bool withShift) {
  if (character >= kCharacterCount) return kNoKey;
  const Locked locked(gLock);
  return (withShift ? gTables.shifted : gTables.normal)[character];
}
