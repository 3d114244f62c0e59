// The server's own keyboard for posted keys, which is set so that a posted key does what its poster says.
#pragma once
#include <cstdint>

namespace platform::x11 {

class Connection;

// One thread, which hears of the keyboard's changes on the connection. The keyboards of the machine keep
// their settings.
class PostingKeyboard {
 public:
  explicit PostingKeyboard(Connection& connection);

  // Hears of new keymaps from now on.
  void Start();

  // Whether the event, one of XCB's, says that the keymap is a new one.
  [[nodiscard]] bool IsNewKeymap(const void* event) const;
  // To be called upon that, and at the start. `numLockCode` is the server's code of that key.
  void Adapt(uint8_t numLockCode);

  // Whether a key that it holds repeats by itself all the same, as this server has it.
  [[nodiscard]] bool Repeats();

 private:
  // A held key does not repeat by itself.
  void StopRepeat();
  void SetRepeat(uint16_t device, const uint8_t (&keys)[32]);
  // Caps Lock and Num Lock, as the local user has switched them, do not change what a posted key yields. The
  // locks themselves are left alone, and so are the lamps.
  void IgnoreLocks(uint8_t numLockCode);

  Connection& connection_;
  uint16_t device_ = 0;
  uint8_t firstEvent_ = 0;
};

}  // namespace platform::x11
