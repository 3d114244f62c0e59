#include "platform/x11/LocalDevices.h"

#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <vector>

#include "platform/System.h"
#include "platform/x11/Connection.h"
#include "platform/x11/InputDevices.h"

namespace platform::x11 {
namespace {

struct Down {
  uint8_t release;  // the type of the event that ends it
  uint8_t code;     // the key's or the button's
};

std::vector<Down> WhatIsDown(Connection& connection, uint16_t device) {
  std::vector<Down> down;
  const auto reply = connection.Await<xcb_input_query_device_state_reply_t>(
      xcb_input_query_device_state(connection.Get(), static_cast<uint8_t>(device)));
  if (!reply) return down;
  const auto add = [&down](uint8_t release, const uint8_t(&bits)[32]) {
    for (unsigned code = 0; code < 256; ++code) {
      if ((bits[code / 8] >> code % 8 & 1) != 0) down.push_back({release, static_cast<uint8_t>(code)});
    }
  };
  for (auto next = xcb_input_query_device_state_classes_iterator(reply.get()); next.rem > 0;
       xcb_input_input_state_next(&next)) {
    xcb_input_input_state_data_t state;
    xcb_input_input_state_data_unpack(xcb_input_input_state_data(next.data), next.data->class_id, &state);
    if (next.data->class_id == XCB_INPUT_INPUT_CLASS_KEY) add(XCB_INPUT_DEVICE_KEY_RELEASE, state.key.keys);
    if (next.data->class_id == XCB_INPUT_INPUT_CLASS_BUTTON)
      add(XCB_INPUT_DEVICE_BUTTON_RELEASE, state.button.buttons);
  }
  return down;
}

}  // namespace

CGError LocalDevices::Silence() {
  if (silent_) return kCGErrorSuccess;
  if (connection_.Extension(xcb_input_id) == nullptr) return kCGErrorNotImplemented;
  struct {
    xcb_input_event_mask_t head;
    uint32_t events;
  } const mask{{XCB_INPUT_DEVICE_ALL, 1}, XCB_INPUT_XI_EVENT_MASK_HIERARCHY};
  xcb_input_xi_select_events(connection_.Get(), connection_.Root(), 1, &mask.head);
  if (!GrabOthers() || !LetGo()) {
    Release();
    return kCGErrorCannotComplete;
  }
  silent_ = true;
  return kCGErrorSuccess;
}

void LocalDevices::Release() {
  for (const uint16_t device : held_) Ungrab(device);
  held_.clear();
  silent_ = false;
}

// The releases are the device's own: other keys, which are posted, stay down. Programs do not hear of a
// release by a grabbed device; so it is free for that moment, which one batch of requests keeps short.
// Switching it off and on would release all of it, too, but a device of the machine may fail to come back.
bool LocalDevices::LetGo() {
  if (connection_.Extension(xcb_test_id) == nullptr) return true;
  const uint8_t firstEvent = connection_.Extension(xcb_input_id)->first_event;
  for (const uint16_t device : held_) {
    const std::vector<Down> down = WhatIsDown(connection_, device);
    if (down.empty()) continue;
    Ungrab(device);
    for (const Down& one : down) {
      xcb_test_fake_input(connection_.Get(), static_cast<uint8_t>(firstEvent + one.release), one.code,
                          XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, static_cast<uint8_t>(device));
    }
    if (!Grab(device)) return false;
  }
  return true;
}

bool LocalDevices::IsNewDevice(const void* event) const {
  const auto& notice = *static_cast<const xcb_ge_generic_event_t*>(event);
  const auto* const extension = connection_.Extension(xcb_input_id);
  return silent_ && extension != nullptr && notice.response_type == XCB_GE_GENERIC &&
         notice.extension == extension->major_opcode && notice.event_type == XCB_INPUT_HIERARCHY;
}

void LocalDevices::Adapt() { (void)GrabOthers(); }

bool LocalDevices::GrabOthers() {
  bool all = true;
  for (const InputDevice& device : ReadInputDevices(connection_)) {
    if (device.kind != InputDevice::Kind::kSlave || !device.enabled) continue;
    // Also one that is held: it may have been switched off and on, which ends a grab.
    if (Grab(device.id))
      held_.insert(device.id);
    else
      all = false;
  }
  return all;
}

bool LocalDevices::Grab(uint16_t device) {
  constexpr uint32_t kNoEvents = 0;
  const auto reply = connection_.Await<xcb_input_xi_grab_device_reply_t>(xcb_input_xi_grab_device(
      connection_.Get(), connection_.Root(), XCB_CURRENT_TIME, XCB_CURSOR_NONE, device,
      XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_MODE_22_ASYNC, 0, 1, &kNoEvents));
  if (reply && reply->status == XCB_GRAB_STATUS_SUCCESS) return true;
  const bool taken = reply && reply->status == XCB_GRAB_STATUS_ALREADY_GRABBED;
  ConsoleLog("local input device %d cannot be locked: %s", device,
             taken ? "another program keeps it" : "the server refuses");
  return false;
}

void LocalDevices::Ungrab(uint16_t device) {
  xcb_input_xi_ungrab_device(connection_.Get(), XCB_CURRENT_TIME, device);
}

}  // namespace platform::x11
