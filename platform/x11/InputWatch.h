// The thread that keeps what posting and local input need: the keyboard's codes, which it follows, and the
// grabs of local devices.
#pragma once
#include <CoreGraphics/CGError.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>

#include "platform/Handles.h"
#include "platform/ThreadSafety.h"
#include "platform/x11/VirtualKeys.h"

namespace platform::x11 {

class Connection;
class LocalDevices;
class PostingKeyboard;

// The thread starts with the first call that needs it and lives as long as the session; so does its
// connection, to which the server ties everything that must not outlive the process.
class InputWatch {
 public:
  // Lives as long as the process.
  static InputWatch& Instance();

  // Any thread. Returns when the keyboard is known; false without a window server.
  [[nodiscard]] bool Start() EXCLUDES(lock_);

  // Any thread, after Start(), without talking to the server. 0: there is no such key.
  [[nodiscard]] uint8_t KeyCodeOf(uint16_t virtualKey) const;

  // Any thread, after Start(). A held key would repeat by itself, unless its repeat is stopped.
  [[nodiscard]] bool KeysRepeat() const { return keysRepeat_.load(std::memory_order_relaxed); }

  // Any thread. They return when it is done.
  [[nodiscard]] CGError SilenceLocalInput(bool silence) EXCLUDES(lock_);
  // What happened to the keyboard before is taken into account.
  [[nodiscard]] CGError Settle() EXCLUDES(lock_);

 private:
  enum class State { kIdle, kStarting, kRunning, kOver };
  struct Wishes {
    bool silence = false;
    // How many there were.
    uint64_t count = 0;
  };

  InputWatch();
  // Waits until the thread has done what is wished for now.
  [[nodiscard]] CGError AwaitWishesLocked() REQUIRES(lock_);

  // On the thread:
  void Run() EXCLUDES(lock_);
  void Serve(Connection& connection) EXCLUDES(lock_);
  void LearnKeyCodes(Connection& connection);
  void Adapt(Connection& connection, PostingKeyboard& keyboard);
  // The wishes that are not done yet.
  [[nodiscard]] std::optional<Wishes> Wished() EXCLUDES(lock_);
  void Grant(const Wishes& wishes, Connection& connection, LocalDevices& devices) EXCLUDES(lock_);
  void Await(const Connection& connection) const;

  UniqueFd wake_;
  std::array<std::atomic<uint8_t>, kVirtualKeyCount> codes_{};
  std::atomic<bool> keysRepeat_{false};
  std::atomic<bool> running_{false};
  Lock lock_;
  Condition changed_;
  State state_ GUARDED_BY(lock_) = State::kIdle;
  Wishes wishes_ GUARDED_BY(lock_);
  uint64_t granted_ GUARDED_BY(lock_) = 0;
  CGError silenceError_ GUARDED_BY(lock_) = kCGErrorSuccess;
};

}  // namespace platform::x11
