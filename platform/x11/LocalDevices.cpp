#include "platform/x11/LocalDevices.h"

#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include "platform/System.h"
#include "platform/x11/Connection.h"
#include "platform/x11/InputDevices.h"

namespace platform::x11 {

CGError LocalDevices::Silence(uint8_t numLockCode) {
  if (silent_) return kCGErrorSuccess;
  if (connection_.Extension(xcb_input_id) == nullptr) return kCGErrorNotImplemented;
  struct {
    xcb_input_event_mask_t head;
    uint32_t events;
  } const mask{{XCB_INPUT_DEVICE_ALL, 1}, XCB_INPUT_XI_EVENT_MASK_HIERARCHY};
  xcb_input_xi_select_events(connection_.Get(), connection_.Root(), 1, &mask.head);
  if (GrabOthers() != XCB_GRAB_STATUS_SUCCESS) {
    Release();
    return kCGErrorCannotComplete;
  }
  ReleaseModifiers(numLockCode);
  silent_ = true;
  return kCGErrorSuccess;
}

void LocalDevices::Release() {
  for (const uint16_t device : held_) {
    xcb_input_xi_ungrab_device(connection_.Get(), XCB_CURRENT_TIME, device);
  }
  held_.clear();
  silent_ = false;
}

// A press and a release by the posting keyboard count for all keyboards that are not silent. Only modifiers:
// the press of another key would type. Locks do not count as held.
void LocalDevices::ReleaseModifiers(uint8_t numLockCode) {
  xcb_connection_t* const x = connection_.Get();
  if (connection_.Extension(xcb_test_id) == nullptr) return;
  const auto keymap = connection_.Await<xcb_query_keymap_reply_t>(xcb_query_keymap(x));
  const auto modifiers = connection_.Await<xcb_get_modifier_mapping_reply_t>(xcb_get_modifier_mapping(x));
  if (!keymap || !modifiers) return;
  const xcb_keycode_t* const codes = xcb_get_modifier_mapping_keycodes(modifiers.get());
  const int perModifier = modifiers->keycodes_per_modifier;
  for (int place = 0; place < 8 * perModifier; ++place) {
    const xcb_keycode_t code = codes[place];
    const bool lock = place / perModifier == XCB_MAP_INDEX_LOCK || code == numLockCode;
    if (code == 0 || lock || (keymap->keys[code / 8] >> code % 8 & 1) == 0) continue;
    for (const uint8_t event : {XCB_KEY_PRESS, XCB_KEY_RELEASE})
      xcb_test_fake_input(x, event, code, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
  }
}

bool LocalDevices::IsNewDevice(const void* event) const {
  const auto& notice = *static_cast<const xcb_ge_generic_event_t*>(event);
  const auto* const extension = connection_.Extension(xcb_input_id);
  return silent_ && extension != nullptr && notice.response_type == XCB_GE_GENERIC &&
         notice.extension == extension->major_opcode && notice.event_type == XCB_INPUT_HIERARCHY;
}

void LocalDevices::Adapt() { (void)GrabOthers(); }

uint8_t LocalDevices::GrabOthers() {
  constexpr uint32_t kNoEvents = 0;
  uint8_t refused = XCB_GRAB_STATUS_SUCCESS;
  for (const InputDevice& device : ReadInputDevices(connection_)) {
    if (device.kind != InputDevice::Kind::kSlave || !device.enabled) continue;
    // Also one that is held: it may have been switched off and on, which ends a grab.
    const auto reply = connection_.Await<xcb_input_xi_grab_device_reply_t>(xcb_input_xi_grab_device(
        connection_.Get(), connection_.Root(), XCB_CURRENT_TIME, XCB_CURSOR_NONE, device.id,
        XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_MODE_22_ASYNC, 0, 1, &kNoEvents));
    if (reply && reply->status == XCB_GRAB_STATUS_SUCCESS) {
      held_.insert(device.id);
    } else if (refused == XCB_GRAB_STATUS_SUCCESS) {
      refused = reply ? reply->status : uint8_t{XCB_GRAB_STATUS_NOT_VIEWABLE};
      ConsoleLog(
          "local input device %d cannot be locked: %s", device.id,
          refused == XCB_GRAB_STATUS_ALREADY_GRABBED ? "another program keeps it" : "the server refuses");
    }
  }
  return refused;
}

}  // namespace platform::x11
