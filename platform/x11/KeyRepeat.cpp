#include "platform/x11/KeyRepeat.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <vector>

#include "platform/x11/Connection.h"
#include "platform/x11/RootProperty.h"

namespace platform::x11 {
namespace {

constexpr char kStopped[] = "_KORVANE_KEYS_WITHOUT_REPEAT";

bool Repeats(Connection& connection, uint8_t code) {
  const auto control =
      connection.Await<xcb_get_keyboard_control_reply_t>(xcb_get_keyboard_control(connection.Get()));
  return control && (control->auto_repeats[code / 8] >> code % 8 & 1) != 0;
}

void SetRepeat(Connection& connection, uint32_t code, xcb_auto_repeat_mode_t mode) {
  const uint32_t values[] = {code, mode};
  xcb_change_keyboard_control(connection.Get(), XCB_KB_KEY | XCB_KB_AUTO_REPEAT_MODE, values);
}

}  // namespace

bool StopKeyRepeat(Connection& connection, uint8_t code) {
  const RootProperty stopped(connection, kStopped);
  const ServerGrab grab(connection);
  if (!Repeats(connection, code)) return false;
  stopped.Append(code);
  SetRepeat(connection, code, XCB_AUTO_REPEAT_MODE_OFF);
  return true;
}

void ResumeKeyRepeat(Connection& connection, uint8_t code) {
  const RootProperty stopped(connection, kStopped);
  const ServerGrab grab(connection);
  std::vector<uint32_t> codes = stopped.Read();
  if (std::erase(codes, code) == 0) return;
  stopped.Write(codes);
  SetRepeat(connection, code, XCB_AUTO_REPEAT_MODE_ON);
}

void ResumeAllKeyRepeat(Connection& connection) {
  const RootProperty stopped(connection, kStopped);
  for (const uint32_t code : stopped.Read()) SetRepeat(connection, code, XCB_AUTO_REPEAT_MODE_ON);
  stopped.Delete();
}

}  // namespace platform::x11
