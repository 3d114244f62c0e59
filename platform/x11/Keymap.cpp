#include "platform/x11/Keymap.h"

#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <limits>

#include "platform/x11/Connection.h"

namespace platform::x11 {

void FreeKeymap::operator()(xkb_keymap* keymap) const noexcept { xkb_keymap_unref(keymap); }
void FreeKeymap::operator()(xkb_state* state) const noexcept { xkb_state_unref(state); }

Keyboard ReadKeyboard(Connection& connection) {
  struct FreeContext {
    void operator()(xkb_context* context) const noexcept { xkb_context_unref(context); }
  };
  xcb_connection_t* const x = connection.Get();
  Keyboard keyboard;
  if (xkb_x11_setup_xkb_extension(x, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                  XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr,
                                  nullptr) == 0)
    return keyboard;
  // The keymap comes from the server, none of it from files.
  const std::unique_ptr<xkb_context, FreeContext> context(xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES));
  const int32_t device = xkb_x11_get_core_keyboard_device_id(x);
  if (!context || device < 0) return keyboard;
  keyboard.keymap.reset(
      xkb_x11_keymap_new_from_device(context.get(), x, device, XKB_KEYMAP_COMPILE_NO_FLAGS));
  if (keyboard.keymap) keyboard.state.reset(xkb_x11_state_new_from_device(keyboard.keymap.get(), x, device));
  return keyboard;
}

KeyCodes KeyCodesOf(xkb_keymap* keymap) {
  KeyCodes codes{};
  for (const VirtualKey& entry : VirtualKeys()) {
    for (const char* const name : entry.names) {
      const xkb_keycode_t code = name == nullptr ? XKB_KEYCODE_INVALID : xkb_keymap_key_by_name(keymap, name);
      if (code > std::numeric_limits<uint8_t>::max()) continue;  // also the invalid one
      codes[entry.key] = static_cast<uint8_t>(code);
      break;
    }
  }
  return codes;
}

}  // namespace platform::x11
