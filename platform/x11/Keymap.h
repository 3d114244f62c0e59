// The keymap that the server's keyboard has now, as xkbcommon reads it.
#pragma once
#include <array>
#include <cstdint>
#include <memory>

#include "platform/x11/VirtualKeys.h"

struct xkb_keymap;
struct xkb_state;

namespace platform::x11 {

class Connection;

struct FreeKeymap {
  void operator()(xkb_keymap* keymap) const noexcept;
  void operator()(xkb_state* state) const noexcept;
};
using KeymapPtr = std::unique_ptr<xkb_keymap, FreeKeymap>;
using KeyStatePtr = std::unique_ptr<xkb_state, FreeKeymap>;

// The core keyboard's keymap and the state that it is in. Both are null without a server or without its
// keyboard extension.
struct Keyboard {
  KeymapPtr keymap;
  KeyStatePtr state;
  explicit operator bool() const { return state != nullptr; }
};
[[nodiscard]] Keyboard ReadKeyboard(Connection& connection);

// The server's code of each virtual key; 0: the keyboard has no such key.
using KeyCodes = std::array<uint8_t, kVirtualKeyCount>;
[[nodiscard]] KeyCodes KeyCodesOf(xkb_keymap* keymap);

}  // namespace platform::x11
