#include "platform/x11/InputDevices.h"

#include <xcb/xinput.h>

#include <string_view>

#include "platform/x11/Connection.h"

namespace platform::x11 {
namespace {

InputDevice Read(xcb_input_xi_device_info_t& info) {
  InputDevice device;
  device.id = info.deviceid;
  device.enabled = info.enabled != 0;
  const std::string_view name(xcb_input_xi_device_info_name(&info),
                              static_cast<size_t>(xcb_input_xi_device_info_name_length(&info)));
  const bool master =
      info.type == XCB_INPUT_DEVICE_TYPE_MASTER_KEYBOARD || info.type == XCB_INPUT_DEVICE_TYPE_MASTER_POINTER;
  // There is a property that says the same, but the name cannot be changed and costs no further request.
  const bool posting = !master && name.find("XTEST") != std::string_view::npos;
  device.kind = master    ? InputDevice::Kind::kMaster
                : posting ? InputDevice::Kind::kPosting
                          : InputDevice::Kind::kSlave;
  for (auto next = xcb_input_xi_device_info_classes_iterator(&info); next.rem > 0;
       xcb_input_device_class_next(&next)) {
    if (next.data->type != XCB_INPUT_DEVICE_CLASS_TYPE_KEY) continue;
    device.keyboard = true;
    device.keySource = next.data->sourceid;
  }
  return device;
}

}  // namespace

std::vector<InputDevice> ReadInputDevices(Connection& connection) {
  std::vector<InputDevice> devices;
  if (connection.Extension(xcb_input_id) == nullptr) return devices;
  const auto version = connection.Await<xcb_input_xi_query_version_reply_t>(
      xcb_input_xi_query_version(connection.Get(), 2, 3));
  if (!version) return devices;
  const auto reply = connection.Await<xcb_input_xi_query_device_reply_t>(
      xcb_input_xi_query_device(connection.Get(), XCB_INPUT_DEVICE_ALL));
  if (!reply) return devices;
  for (auto next = xcb_input_xi_query_device_infos_iterator(reply.get()); next.rem > 0;
       xcb_input_xi_device_info_next(&next)) {
    devices.push_back(Read(*next.data));
  }
  return devices;
}

}  // namespace platform::x11
