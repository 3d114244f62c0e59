#include "platform/x11/InputWatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <xcb/xcb.h>

#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/PostingKeyboard.h"
#include "platform/x11/QuietThread.h"
#include "platform/x11/Session.h"

namespace platform::x11 {

InputWatch& InputWatch::Instance() {
  static InputWatch* const instance = new InputWatch;
  return *instance;
}

InputWatch::InputWatch() : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

bool InputWatch::Start() {
  if (running_.load(std::memory_order_acquire)) return true;
  const Locked locked(lock_);
  if (state_ == State::kIdle) {
    if (!wake_ || Session::Instance().Over()) return false;
    // Detached: it ends with the session.
    if (!StartQuietThread(
            "input watch", [](void* self) { static_cast<InputWatch*>(self)->Run(); }, this))
      return false;
    state_ = State::kStarting;
  }
  while (state_ == State::kStarting) changed_.Wait(lock_);
  return state_ == State::kRunning;
}

uint8_t InputWatch::KeyCodeOf(uint16_t virtualKey) const {
  return virtualKey < codes_.size() ? codes_[virtualKey].load(std::memory_order_relaxed) : uint8_t{0};
}

void InputWatch::Run() {
  const CallScope scope;
  const std::unique_ptr<Connection> connection = Connection::Open();
  if (connection) Serve(*connection);
  running_.store(false, std::memory_order_release);
  const Locked locked(lock_);
  // Without a server to begin with, a later call may try again.
  state_ = connection ? State::kOver : State::kIdle;
  changed_.NotifyAll();
}

void InputWatch::Serve(Connection& connection) {
  PostingKeyboard keyboard(connection);
  keyboard.Start();
  for (bool newKeymap = true; connection.Flush();) {
    if (newKeymap) {
      const Keyboard now = ReadKeyboard(connection);
      if (now) {
        const KeyCodes codes = KeyCodesOf(now.keymap.get());
        for (size_t key = 0; key < codes.size(); ++key) codes_[key].store(codes[key]);
      }
      newKeymap = false;
      running_.store(true, std::memory_order_release);
      const Locked locked(lock_);
      state_ = State::kRunning;
      changed_.NotifyAll();
    }
    while (const MallocPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection.Get())}) {
      newKeymap = keyboard.IsNewKeymap(event.get()) || newKeymap;
    }
    if (newKeymap)
      keyboard.Adapt();
    else
      Await(connection);
  }
}

void InputWatch::Await(const Connection& connection) const {
  pollfd ready[] = {{connection.Fd(), POLLIN, 0}, {wake_.Get(), POLLIN, 0}};
  poll(ready, std::size(ready), -1);
}

}  // namespace platform::x11
