// The viewer's key codes as platform virtual keys.
//
// Source: the key codes are the Windows virtual-key codes (winuser.h, VK_...), the keys the platform's
// virtual key codes (Events.h, kVK_...), which name places on the keyboard. Codes of keys that the platform
// does not have (browser, mail, next track, F21 to F24) have no pair, unless it has another key of that code.
#include "input/KeyTables.h"

// clang-format off
const uint16_t gMacVirtualKeys[] = {
  // editing and white space
  0x08, 51,   // Backspace: Delete
  0x09, 48,   // Tab
  0x0C, 71,   // Clear: keypad Clear
  0x0D, 36,   // Return
  0x1B, 53,   // Escape
  0x20, 49,   // Space

  // modifiers; those without a side are the left ones
  0x10, 56,   // Shift
  0x11, 59,   // Control
  0x12, 58,   // Alt: Option
  0x14, 57,   // Caps Lock
  0xA0, 56,   // left Shift
  0xA1, 60,   // right Shift
  0xA2, 59,   // left Control
  0xA3, 62,   // right Control
  0xA4, 58,   // left Alt: left Option
  0xA5, 61,   // right Alt: right Option
  0x5B, 55,   // left Windows: left Command
  0x5C, 54,   // right Windows: right Command
  0x5D, 110,  // Applications: contextual menu

  // navigation
  0x21, 116,  // Page Up
  0x22, 121,  // Page Down
  0x23, 119,  // End
  0x24, 115,  // Home
  0x25, 123,  // Left
  0x26, 126,  // Up
  0x27, 124,  // Right
  0x28, 125,  // Down
  0x2D, 114,  // Insert: Help, which has its place
  0x2E, 117,  // Delete: forward Delete
  0x2F, 114,  // Help

  // digits
  0x30, 29,  0x31, 18,  0x32, 19,  0x33, 20,  0x34, 21,
  0x35, 23,  0x36, 22,  0x37, 26,  0x38, 28,  0x39, 25,

  // letters, A to Z
  0x41, 0,   0x42, 11,  0x43, 8,   0x44, 2,   0x45, 14,  0x46, 3,   0x47, 5,
  0x48, 4,   0x49, 34,  0x4A, 38,  0x4B, 40,  0x4C, 37,  0x4D, 46,  0x4E, 45,
  0x4F, 31,  0x50, 35,  0x51, 12,  0x52, 15,  0x53, 1,   0x54, 17,  0x55, 32,
  0x56, 9,   0x57, 13,  0x58, 7,   0x59, 16,  0x5A, 6,

  // punctuation, by its place on the main layouts
  0xBA, 41,   // OEM 1: right of L
  0xBB, 24,   // plus: left of Backspace
  0xBC, 43,   // comma
  0xBD, 27,   // minus: right of 0
  0xBE, 47,   // period
  0xBF, 44,   // OEM 2: left of the right Shift
  0xC0, 50,   // OEM 3: left of 1
  0xDB, 33,   // OEM 4: right of P
  0xDC, 42,   // OEM 5: above or beside Return
  0xDD, 30,   // OEM 6: second to the right of P
  0xDE, 39,   // OEM 7: second to the right of L
  0xDF, 50,   // OEM 8: left of 1 on British keyboards
  0xE2, 10,   // OEM 102: between the left Shift and the first letter
  0xC1, 94,   // left of the right Shift on Brazilian and Japanese keyboards: JIS underscore
  0xC2, 95,   // keypad period on Brazilian keyboards: JIS keypad comma

  // Japanese keyboards
  0x15, 104,  // Kana
  0x16, 104,  // IME on: Kana
  0x1A, 102,  // IME off: Eisu
  0x1C, 104,  // Convert, right of Space: Kana
  0x1D, 102,  // Non-Convert, left of Space: Eisu
  0xF0, 102,  // Alphanumeric: Eisu
  0xF1, 104,  // Katakana: Kana
  0xF2, 104,  // Hiragana: Kana
  0xF5, 104,  // Roman characters: Kana, with Alt
  0xF6, 104,  // no Roman characters: Kana, with Alt
  0x19, 50,   // Kanji: left of 1
  0xF3, 50,   // half width: left of 1
  0xF4, 50,   // full width: left of 1

  // keys that the platform does not have: Junja, Final, Accept, Mode Change, Select, Execute, Sleep
  0x17, kNoKey,  0x18, kNoKey,  0x1E, kNoKey,  0x1F, kNoKey,
  0x29, kNoKey,  0x2B, kNoKey,  0x5F, kNoKey,

  // function keys; F13 to F15 stand where Print Screen, Scroll Lock and Pause are
  0x70, 122,  0x71, 120,  0x72, 99,   0x73, 118,  0x74, 96,   0x75, 97,   0x76, 98,
  0x77, 100,  0x78, 101,  0x79, 109,  0x7A, 103,  0x7B, 111,  0x7C, 105,  0x7D, 107,
  0x7E, 113,  0x7F, 106,  0x80, 64,   0x81, 79,   0x82, 80,   0x83, 90,
  0x2A, 105,  // Print: F13
  0x2C, 105,  // Print Screen: F13
  0x91, 107,  // Scroll Lock: F14
  0x13, 113,  // Pause: F15
  0x03, 113,  // Break: F15

  // keypad
  0x60, 82,  0x61, 83,  0x62, 84,  0x63, 85,  0x64, 86,
  0x65, 87,  0x66, 88,  0x67, 89,  0x68, 91,  0x69, 92,
  0x6A, 67,   // multiply
  0x6B, 69,   // add
  0x6C, 95,   // separator: JIS keypad comma
  0x6D, 78,   // subtract
  0x6E, 65,   // decimal
  0x6F, 75,   // divide
  0x90, 71,   // Num Lock: Clear, which has its place
  0x92, 81,   // equal
  0xFE, 71,   // Clear

  // sound
  0xAD, 74,   // mute
  0xAE, 73,   // volume down
  0xAF, 72,   // volume up

  0, 0
};
// clang-format on
