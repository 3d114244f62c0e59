// The server's own keyboard for posted keys, which is set so that a posted key does what its poster says.
#pragma once
#include <cstdint>

#include "platform/x11/KeyTypes.h"

namespace platform::x11 {

class Connection;

// One thread, which hears of the keyboard's changes on the connection. The keyboards of the machine keep
// their settings.
class PostingKeyboard {
 public:
  explicit PostingKeyboard(Connection& connection);

  // Hears of new keymaps from now on, and sets up what is there.
  void Start();

  // Whether the event, one of XCB's, says that the keymap is a new one.
  [[nodiscard]] bool IsNewKeymap(const void* event) const;
  // To be called upon that.
  void Adapt();

  // Off: Caps Lock and Num Lock, as the local user has switched them, do not change what a posted key yields.
  // `numLockCode` is the server's code of that key. The locks themselves are left alone, and so are the
  // lamps.
  void CombineLocks(bool combine, uint8_t numLockCode);

 private:
  // A held key does not repeat by itself.
  void StopRepeat();
  void SetRepeat(uint16_t device, const uint8_t (&keys)[32]);
  void IgnoreLocks();

  Connection& connection_;
  uint16_t device_ = 0;
  uint8_t firstEvent_ = 0;
  bool combine_ = true;
  uint8_t numLockCode_ = 0;
  // While locks are ignored: the keymap that was found.
  KeyMap found_;
};

}  // namespace platform::x11
