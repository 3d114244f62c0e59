// The types of a keyboard's keys: which modifiers choose which of a key's symbols.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform::x11 {

class Connection;

// As the server sends them, and takes them back.
struct KeyType {
  struct Modifiers {
    uint8_t mask;  // what the others come to
    uint8_t real;
    uint16_t named;
    bool operator==(const Modifiers&) const = default;
  };
  struct Choice {
    Modifiers modifiers;
    uint8_t level;
    // Those that a program is not to take as used up.
    Modifiers kept;
    bool operator==(const Choice&) const = default;
  };

  Modifiers modifiers;
  uint8_t levels;
  // Every other combination chooses level 0.
  std::vector<Choice> choices;
  bool operator==(const KeyType&) const = default;
};

// The type as it has to be for a keyboard on which Caps Lock counts for nothing, although it is used up, and
// Num Lock, whose modifier is `numLock` (0: none), counts as on.
[[nodiscard]] KeyType WithoutLocks(const KeyType& type, uint8_t numLock);

// A device's types.
struct KeyMap {
  uint8_t minKeyCode = 0, maxKeyCode = 0;
  std::vector<KeyType> types = {};
};

// No types when the server refuses.
[[nodiscard]] KeyMap ReadKeyMap(Connection& connection, uint16_t device);
// Programs on Xlib do not hear of a change of types, but read everything anew when the range of key codes
// changes; so its lowest code, which no keyboard has, goes and comes back.
void SendKeyMap(Connection& connection, uint16_t device, const KeyMap& map);

// The modifier that Num Lock switches; 0: none.
[[nodiscard]] uint8_t NumLockModifier(Connection& connection, uint8_t keyCode);

}  // namespace platform::x11
