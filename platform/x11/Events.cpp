// Posted mouse and keyboard events.
#include <CoreGraphics/CGRemoteOperation.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdarg>
#include <limits>

#include "platform/ThreadSafety.h"
#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/InputWatch.h"
#include "platform/x11/KeyRepeat.h"

namespace platform::x11 {
namespace {

// One bit each, and one for each virtual key.
constexpr CGButtonCount kMostButtons = 32;

// What this process holds down. An event goes to the server when the state changes; so also what is released
// is the very key that was pressed, whatever keymap there is by then.
class HeldInput {
 public:
  static HeldInput& Instance() {
    static HeldInput* const instance = new HeldInput;
    return *instance;
  }

  // `down`: one bit a button. The server has the events in the order of the calls of all threads.
  [[nodiscard]] bool PostMouse(Connection& connection, const CGPoint* position, uint32_t down)
      EXCLUDES(lock_) {
    const Locked locked(lock_);
    if (position != nullptr) {
      Fake(connection, XCB_MOTION_NOTIFY, 0, Coordinate(position->x), Coordinate(position->y));
    }
    for (CGButtonCount button = 0; button < kMostButtons; ++button) {
      const uint32_t bit = uint32_t{1} << button;
      if (((down ^ buttons_) & bit) == 0) continue;
      Fake(connection, (down & bit) != 0 ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, ServerButton(button), 0, 0);
    }
    buttons_ = down;
    return connection.Flush();
  }

  // kCGErrorNoneAvailable when it is neither held nor on the keyboard.
  [[nodiscard]] CGError PostKey(Connection& connection, CGKeyCode key, bool down) EXCLUDES(lock_) {
    const uint8_t now = InputWatch::Instance().KeyCodeOf(key);
    const Locked locked(lock_);
    uint8_t& held = keys_[key];
    const uint8_t code = held != 0 ? held : now;
    if (code == 0) return kCGErrorNoneAvailable;
    // A second press is how the poster repeats a key. Modifiers do not repeat, and the release of one has an
    // effect of its own in many programs.
    if (down && held != 0 && IsModifier(key)) return kCGErrorSuccess;
    if (down && held != 0) Fake(connection, XCB_KEY_RELEASE, code, 0, 0);
    if (down && held == 0)
      stopped_[key] = InputWatch::Instance().KeysRepeat() && StopKeyRepeat(connection, code);
    Fake(connection, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, code, 0, 0);
    if (!down && stopped_[key]) {
      ResumeKeyRepeat(connection, code);
      stopped_[key] = false;
    }
    held = down ? code : uint8_t{0};
    return connection.Flush() ? kCGErrorSuccess : kCGErrorCannotComplete;
  }

 private:
  static void Fake(Connection& connection, uint8_t type, uint8_t detail, int16_t x, int16_t y) {
    xcb_test_fake_input(connection.Get(), type, detail, XCB_CURRENT_TIME, connection.Root(), x, y, 0);
  }

  // The server keeps it inside its root. What is no number is 0.
  static int16_t Coordinate(double value) {
    using Limits = std::numeric_limits<int16_t>;
    return value == value ? static_cast<int16_t>(std::clamp<double>(value, Limits::min(), Limits::max())) : 0;
  }

  // Left, right and middle; further ones follow those that the server has for its wheels.
  static uint8_t ServerButton(CGButtonCount button) {
    constexpr uint8_t kFirst[] = {1, 3, 2};
    return button < std::size(kFirst) ? kFirst[button] : static_cast<uint8_t>(button + 5);
  }

  Lock lock_;
  uint32_t buttons_ GUARDED_BY(lock_) = 0;
  std::array<uint8_t, kVirtualKeyCount> keys_ GUARDED_BY(lock_){};
  std::bitset<kVirtualKeyCount> stopped_ GUARDED_BY(lock_);  // whose repeat is to be resumed
};

// The calling thread's; null without a server. `error` says why there is none, or none that takes events.
Connection* PostingConnection(CGError& error) {
  Connection* const connection = Connection::Current();
  error = kCGErrorCannotComplete;
  if (connection == nullptr || !InputWatch::Instance().Start()) return nullptr;
  error = kCGErrorNotImplemented;
  return connection->Extension(xcb_test_id) == nullptr ? nullptr : connection;
}

}  // namespace
}  // namespace platform::x11

using namespace platform::x11;

CGError CGPostMouseEvent(CGPoint position, boolean_t updatePosition, CGButtonCount count, boolean_t leftDown,
                         ...) {
  if (count > kMostButtons) return kCGErrorIllegalArgument;
  uint32_t down = count > 0 && leftDown != 0 ? 1 : 0;
  va_list others;
  va_start(others, leftDown);
  for (CGButtonCount button = 1; button < count; ++button) {
    if (va_arg(others, boolean_t) != 0) down |= uint32_t{1} << button;
  }
  va_end(others);

  const CallScope scope;
  CGError error = kCGErrorSuccess;
  Connection* const connection = PostingConnection(error);
  if (connection == nullptr) return error;
  return HeldInput::Instance().PostMouse(*connection, updatePosition != 0 ? &position : nullptr, down)
             ? kCGErrorSuccess
             : kCGErrorCannotComplete;
}

CGError CGPostKeyboardEvent(CGCharCode, CGKeyCode key, boolean_t down) {
  if (key >= kVirtualKeyCount) return kCGErrorNoneAvailable;
  const CallScope scope;
  CGError error = kCGErrorSuccess;
  Connection* const connection = PostingConnection(error);
  if (connection == nullptr) return error;
  // Its only effect would be to switch the server's own lock.
  if (key == kVirtualCapsLock) return kCGErrorSuccess;
  return HeldInput::Instance().PostKey(*connection, key, down != 0);
}
