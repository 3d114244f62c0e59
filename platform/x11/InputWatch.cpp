#include "platform/x11/InputWatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <memory>

#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/Keymap.h"
#include "platform/x11/Leftovers.h"
#include "platform/x11/LocalDevices.h"
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

CGError InputWatch::SilenceLocalInput(bool silence) {
  if (!Start()) return kCGErrorCannotComplete;
  const Locked locked(lock_);
  wishes_.silence = silence;
  CGError error = AwaitWishesLocked();
  if (error == kCGErrorSuccess && silence) error = silenceError_;
  if (error != kCGErrorSuccess) wishes_.silence = false;
  return error;
}

CGError InputWatch::Settle() {
  if (!Start()) return kCGErrorCannotComplete;
  const Locked locked(lock_);
  return AwaitWishesLocked();
}

CGError InputWatch::AwaitWishesLocked() {
  const uint64_t mine = ++wishes_.count;
  const uint64_t one = 1;
  // Cannot fail but for a counter that is full, and then the thread is awake.
  (void)!write(wake_.Get(), &one, sizeof one);
  while (granted_ < mine && state_ == State::kRunning) changed_.Wait(lock_);
  return granted_ < mine ? kCGErrorCannotComplete : kCGErrorSuccess;
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
  ClearLeftovers(connection);
  AnnounceLeftovers(connection);
  PostingKeyboard keyboard(connection);
  LocalDevices devices(connection);
  keyboard.Start();
  Adapt(connection, keyboard);
  if (!connection.Finish()) return;
  {
    const Locked locked(lock_);
    state_ = State::kRunning;
  }
  running_.store(true, std::memory_order_release);
  changed_.NotifyAll();

  while (connection.Alive()) {
    // Before the events: a wish takes what happened before it into account.
    const std::optional<Wishes> wishes = Wished();
    bool newKeymap = false;
    bool newDevice = false;
    while (const MallocPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection.Get())}) {
      newKeymap = keyboard.IsNewKeymap(event.get()) || newKeymap;
      newDevice = devices.IsNewDevice(event.get()) || newDevice;
    }
    if (newDevice) devices.Adapt();
    if (newKeymap) Adapt(connection, keyboard);
    if (wishes) Grant(*wishes, connection, devices);
    // Whoever waited for a reply may have taken events in.
    if (!newDevice && !newKeymap && !wishes && connection.Flush()) Await(connection);
  }
}

void InputWatch::LearnKeyCodes(Connection& connection) {
  const Keyboard keyboard = ReadKeyboard(connection);
  if (!keyboard) return;
  const KeyCodes codes = KeyCodesOf(keyboard.keymap.get());
  for (size_t key = 0; key < codes.size(); ++key) codes_[key].store(codes[key], std::memory_order_relaxed);
}

void InputWatch::Adapt(Connection& connection, PostingKeyboard& keyboard) {
  LearnKeyCodes(connection);
  keyboard.Adapt(codes_[kVirtualNumLock]);
  keysRepeat_.store(keyboard.Repeats(), std::memory_order_relaxed);
}

std::optional<InputWatch::Wishes> InputWatch::Wished() {
  const Locked locked(lock_);
  return granted_ == wishes_.count ? std::nullopt : std::optional(wishes_);
}

void InputWatch::Grant(const Wishes& wishes, Connection& connection, LocalDevices& devices) {
  const CGError error = wishes.silence ? devices.Silence() : kCGErrorSuccess;
  if (!wishes.silence) devices.Release();
  const bool done = connection.Finish();

  const Locked locked(lock_);
  silenceError_ = done ? error : kCGErrorCannotComplete;
  granted_ = wishes.count;
  changed_.NotifyAll();
}

void InputWatch::Await(const Connection& connection) const {
  pollfd ready[] = {{connection.Fd(), POLLIN, 0}, {wake_.Get(), POLLIN, 0}};
  if (poll(ready, std::size(ready), -1) > 0 && ready[1].revents != 0) {
    uint64_t count = 0;
    (void)!read(wake_.Get(), &count, sizeof count);
  }
}

}  // namespace platform::x11
