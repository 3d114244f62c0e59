#include "platform/x11/LocalDevices.h"

#include <xcb/xinput.h>

#include "platform/System.h"
#include "platform/x11/Connection.h"
#include "platform/x11/InputDevices.h"

namespace platform::x11 {

CGError LocalDevices::Silence() {
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
  std::set<uint16_t> present;
  for (const InputDevice& device : ReadInputDevices(connection_)) {
    if (device.kind != InputDevice::Kind::kSlave || !device.enabled) continue;
    present.insert(device.id);
    if (held_.contains(device.id)) continue;
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
  // The number of one that is gone may come back for another.
  std::erase_if(held_, [&present](uint16_t device) { return !present.contains(device); });
  return refused;
}

}  // namespace platform::x11
