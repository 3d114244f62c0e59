#include "platform/x11/Leftovers.h"

#include <xcb/xcb.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/x11/Connection.h"
#include "platform/x11/Gamma.h"
#include "platform/x11/InputDevices.h"
#include "platform/x11/KeyRepeat.h"
#include "platform/x11/RootProperty.h"

namespace platform::x11 {
namespace {

// The root's list has a window of each process, which the server destroys with the process. The window names
// itself under the same name, because its number may be given to another client's.
constexpr char kProcesses[] = "_KORVANE_POSTING_PROCESSES";

bool Lives(Connection& connection, uint32_t window) {
  return RootProperty(connection, kProcesses, window).Read() == std::vector<uint32_t>{window};
}

// `down` is one bit for each key or button.
void Release(Connection& connection, uint8_t event, const uint8_t (&down)[32]) {
  for (unsigned detail = 0; detail < 256; ++detail) {
    if ((down[detail / 8] >> detail % 8 & 1) == 0) continue;
    xcb_test_fake_input(connection.Get(), event, static_cast<uint8_t>(detail), XCB_CURRENT_TIME,
                        XCB_WINDOW_NONE, 0, 0, 0);
  }
}

void ReleaseEverythingPosted(Connection& connection) {
  if (connection.Extension(xcb_test_id) == nullptr) return;
  for (const InputDevice& device : ReadInputDevices(connection)) {
    if (device.kind != InputDevice::Kind::kPosting) continue;
    xcb_connection_t* const x = connection.Get();
    const auto id = static_cast<uint8_t>(device.id);
    // The older interface: the newer one does not tell keys. It wants a device opened first.
    (void)connection.Await<xcb_input_open_device_reply_t>(xcb_input_open_device(x, id));
    const auto state =
        connection.Await<xcb_input_query_device_state_reply_t>(xcb_input_query_device_state(x, id));
    if (!state) continue;
    for (auto next = xcb_input_query_device_state_classes_iterator(state.get()); next.rem > 0;
         xcb_input_input_state_next(&next)) {
      const void* const data = next.data;
      if (next.data->class_id == XCB_INPUT_INPUT_CLASS_KEY)
        Release(connection, XCB_KEY_RELEASE, static_cast<const xcb_input_key_state_t*>(data)->keys);
      if (next.data->class_id == XCB_INPUT_INPUT_CLASS_BUTTON)
        Release(connection, XCB_BUTTON_RELEASE, static_cast<const xcb_input_button_state_t*>(data)->buttons);
    }
  }
}

}  // namespace

void ClearLeftovers(Connection& connection) {
  const RootProperty processes(connection, kProcesses);
  if (processes.Read().empty()) return;
  const ServerGrab grab(connection);
  const std::vector<uint32_t> windows = processes.Read();
  if (std::any_of(windows.begin(), windows.end(),
                  [&connection](uint32_t window) { return Lives(connection, window); }))
    return;
  ReleaseEverythingPosted(connection);
  ResumeAllKeyRepeat(connection);
  RestoreGamma(connection);
  processes.Delete();
}

void AnnounceLeftovers(Connection& connection) {
  const uint32_t window = xcb_generate_id(connection.Get());
  xcb_create_window(connection.Get(), 0, window, connection.Root(), 0, 0, 1, 1, 0,
                    XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
  RootProperty(connection, kProcesses, window).Append(window);
  RootProperty(connection, kProcesses).Append(window);
}

}  // namespace platform::x11
