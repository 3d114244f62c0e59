#include "tests/platform/x11/InputWitness.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <bit>
#include <stdexcept>
#include <utility>

#include "tests/support/WaitFor.h"

namespace test {

void InputWitness::Close::operator()(_XDisplay* display) const noexcept { XCloseDisplay(display); }

InputWitness::InputWitness() : display_(XOpenDisplay(nullptr)) {
  if (!display_) throw std::runtime_error("no X server for the witness");
  Display* const x = display_.get();
  XSetWindowAttributes attributes{};
  attributes.override_redirect = True;
  attributes.event_mask =
      PointerMotionMask | ButtonPressMask | ButtonReleaseMask | KeyPressMask | KeyReleaseMask;
  const Window window = XCreateWindow(x, DefaultRootWindow(x), 0, 0, 2000, 2000, 0, CopyFromParent,
                                      InputOutput, nullptr, CWOverrideRedirect | CWEventMask, &attributes);
  XMapWindow(x, window);
  XSync(x, False);
  XSetInputFocus(x, window, RevertToParent, CurrentTime);
  // Xlib reads the keymap, and hears of other ones, from the first time on that a key is looked up.
  unsigned used = 0;
  KeySym symbol = NoSymbol;
  XkbLookupKeySym(x, 38, 0, &used, &symbol);
  XSync(x, False);
}

SeenInputs InputWitness::Await(const std::function<bool(const SeenInputs&)>& enough,
                               std::chrono::milliseconds limit) {
  (void)WaitFor(
      [&] {
        Read();
        return enough(seen_);
      },
      limit);
  return std::exchange(seen_, {});
}

std::string InputWitness::TextUpTo(const std::string& last) {
  std::string text;
  for (const SeenInput& input : Await([&last](const SeenInputs& seen) {
         return std::any_of(seen.begin(), seen.end(), [&last](const auto& i) {
           return i.symbol == last && i.kind == SeenInput::Kind::kKeyUp;
         });
       })) {
    if (input.kind == SeenInput::Kind::kKeyDown && input.symbol != last) text += input.text;
  }
  return text;
}

void InputWitness::LockCaps(bool on) {
  XkbLockModifiers(display_.get(), XkbUseCoreKbd, LockMask, on ? LockMask : 0);
  XSync(display_.get(), False);
}

int InputWitness::RepeatingKeys(unsigned device) {
  const XkbDescPtr keyboard = XkbAllocKeyboard();
  keyboard->device_spec = static_cast<unsigned short>(device);
  int count = 0;
  if (XkbGetControls(display_.get(), XkbPerKeyRepeatMask, keyboard) == Success) {
    for (const unsigned char keys : keyboard->ctrls->per_key_repeat) count += std::popcount(keys);
  }
  XkbFreeKeyboard(keyboard, XkbAllComponentsMask, True);
  return count;
}

unsigned InputWitness::Mask() {
  Display* const x = display_.get();
  Window root = 0;
  int ignored = 0;
  unsigned mask = 0;
  XQueryPointer(x, DefaultRootWindow(x), &root, &root, &ignored, &ignored, &ignored, &ignored, &mask);
  return mask;
}

void InputWitness::Read() {
  while (XPending(display_.get()) > 0) {
    XEvent event;
    XNextEvent(display_.get(), &event);
    using Kind = SeenInput::Kind;
    if (event.type == MappingNotify) {
      XRefreshKeyboardMapping(&event.xmapping);
    } else if (event.type == MotionNotify) {
      seen_.push_back(
          {Kind::kMotion, 0, event.xmotion.state, event.xmotion.x_root, event.xmotion.y_root, "", ""});
    } else if (event.type == ButtonPress || event.type == ButtonRelease) {
      seen_.push_back({event.type == ButtonPress ? Kind::kButtonDown : Kind::kButtonUp, event.xbutton.button,
                       event.xbutton.state, event.xbutton.x_root, event.xbutton.y_root, "", ""});
    } else if (event.type == KeyPress || event.type == KeyRelease) {
      char text[32];
      KeySym symbol = NoSymbol;
      const int length = XLookupString(&event.xkey, text, sizeof text, &symbol, nullptr);
      const char* const name = XKeysymToString(symbol);
      seen_.push_back({event.type == KeyPress ? Kind::kKeyDown : Kind::kKeyUp, event.xkey.keycode,
                       event.xkey.state, event.xkey.x_root, event.xkey.y_root, name == nullptr ? "" : name,
                       std::string(text, static_cast<size_t>(length))});
    }
  }
}

}  // namespace test
