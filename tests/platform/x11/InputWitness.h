// A program as a user has it: a window with the focus, whose input is read with Xlib.
#pragma once
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct _XDisplay;

namespace test {

struct SeenInput {
  enum class Kind { kMotion, kButtonDown, kButtonUp, kKeyDown, kKeyUp } kind;
  unsigned detail;  // the button, or the key's code
  unsigned state;   // the modifiers and buttons before
  int x, y;
  std::string symbol;  // of a key, as in "Shift_L"
  std::string text;    // of a key press, in Latin-1
};
using SeenInputs = std::vector<SeenInput>;

class InputWitness {
 public:
  // On the server that DISPLAY names, over all of a root of at most 2000 pixels a side. Throws
  // std::runtime_error.
  InputWitness();

  // What has come since the last call, as soon as `enough` holds for it; all there is when it does not in
  // time.
  SeenInputs Await(const std::function<bool(const SeenInputs&)>& enough,
                   std::chrono::milliseconds limit = std::chrono::seconds(20));
  // The text of all key presses up to the first one of `last`, whose symbol counts.
  std::string TextUpTo(const std::string& last);

  // The keyboard's Caps Lock as its user would switch it.
  void LockCaps(bool on);

  // How many keys of one of the server's devices repeat while they are held.
  [[nodiscard]] int RepeatingKeys(unsigned device);

  // The buttons and modifiers that are down for everybody.
  [[nodiscard]] unsigned Mask();

 private:
  void Read();

  struct Close {
    void operator()(_XDisplay* display) const noexcept;
  };
  std::unique_ptr<_XDisplay, Close> display_;
  SeenInputs seen_;
};

}  // namespace test
