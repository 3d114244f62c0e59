#include "tools/NoticeWindow.h"

#include <cairo-xcb.h>
#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>

#include "platform/Handles.h"
#include "tools/NoticePainter.h"

namespace tools {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;
using platform::MallocPtr;

constexpr auto kDeafTime = 500ms;
constexpr char kTitle[] = "Remote control";

template <auto Function>
struct Caller {
  template <class T>
  void operator()(T* object) const {
    Function(object);
  }
};
using Connection = std::unique_ptr<xcb_connection_t, Caller<xcb_disconnect>>;
using Surface = std::unique_ptr<cairo_surface_t, Caller<cairo_surface_destroy>>;
using Cairo = std::unique_ptr<cairo_t, Caller<cairo_destroy>>;
using XkbContext = std::unique_ptr<xkb_context, Caller<xkb_context_unref>>;
using XkbKeymap = std::unique_ptr<xkb_keymap, Caller<xkb_keymap_unref>>;
using XkbState = std::unique_ptr<xkb_state, Caller<xkb_state_unref>>;

xcb_screen_t* ScreenOf(xcb_connection_t* connection, int number) {
  auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
  while (number-- > 0 && screens.rem > 1) xcb_screen_next(&screens);
  return screens.rem > 0 ? screens.data : nullptr;
}

xcb_visualtype_t* RootVisual(const xcb_screen_t* screen) {
  for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0; xcb_depth_next(&depth))
    for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0; xcb_visualtype_next(&visual))
      if (visual.data->visual_id == screen->root_visual) return visual.data;
  return nullptr;
}

xcb_atom_t Atom(xcb_connection_t* connection, std::string_view name) {
  const MallocPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.data()), nullptr));
  return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

// What the desktop's settings say of its dots an inch, in the resource "Xft.dpi" of the root window.
double ScaleOf(xcb_connection_t* connection, xcb_window_t root) {
  constexpr uint32_t kMaxWords = 16384;
  const MallocPtr<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      connection,
      xcb_get_property(connection, 0, root, XCB_ATOM_RESOURCE_MANAGER, XCB_ATOM_STRING, 0, kMaxWords),
      nullptr));
  if (!reply) return 1;
  const std::string resources(static_cast<const char*>(xcb_get_property_value(reply.get())),
                              static_cast<size_t>(xcb_get_property_value_length(reply.get())));
  constexpr std::string_view kKey = "Xft.dpi:";
  const size_t found = resources.find(kKey);
  if (found == std::string::npos) return 1;
  return std::clamp(std::strtod(resources.c_str() + found + kKey.size(), nullptr) / 96, 1.0, 4.0);
}

// Whether somebody else decides where windows are and which one has the keyboard: one client alone can ask
// for that.
bool HasWindowManager(xcb_connection_t* connection, xcb_window_t root) {
  const MallocPtr<xcb_get_window_attributes_reply_t> reply(
      xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, root), nullptr));
  return reply && (reply->all_event_masks & XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT) != 0;
}

// The symbol of a key event, in the layout of the keyboard as it is now.
xkb_keysym_t KeySymbol(xcb_connection_t* connection, xcb_keycode_t key) {
  const XkbContext context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
  const int32_t device = xkb_x11_get_core_keyboard_device_id(connection);
  const XkbKeymap keymap(device < 0 ? nullptr
                                    : xkb_x11_keymap_new_from_device(context.get(), connection, device,
                                                                     XKB_KEYMAP_COMPILE_NO_FLAGS));
  const XkbState state(keymap ? xkb_x11_state_new_from_device(keymap.get(), connection, device) : nullptr);
  return state ? xkb_state_key_get_one_sym(state.get(), key) : XKB_KEY_NoSymbol;
}

class Window {
 public:
  Window(Connection connection, xcb_screen_t* screen, NoticeKind kind, const std::string& text, int pipe)
      : connection_(std::move(connection)),
        pipe_(pipe),
        kind_(kind),
        painter_(text, kind == NoticeKind::kQuestion, ScaleOf(connection_.get(), screen->root)) {
    Create(screen);
    if (kind == NoticeKind::kQuestion && !HasWindowManager(connection_.get(), screen->root)) TakeKeyboard();
  }
  ~Window() {
    if (keyboardBefore_) GiveKeyboardBack();
  }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  bool Wait(Clock::time_point end) {
    const auto begin = Clock::now();
    while (!answer_) {
      const auto now = Clock::now();
      if (now >= end || TakenBack() || xcb_connection_has_error(connection_.get()) != 0) return false;
      Paint(std::chrono::ceil<std::chrono::seconds>(end - now));
      WaitForInput(end, now);
      while (const MallocPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())})
        Take(*event, Clock::now() - begin >= kDeafTime);
    }
    return *answer_;
  }

 private:
  void Create(xcb_screen_t* screen) {
    xcb_connection_t* const connection = connection_.get();
    xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr);
    const int width = painter_.Width();
    const int height = painter_.Height();
    const bool question = kind_ == NoticeKind::kQuestion;
    // A question in the middle of the upper half, a notice in the corner.
    const int x =
        question ? (screen->width_in_pixels - width) / 2 : screen->width_in_pixels - width - width / 20;
    const int y = question ? (screen->height_in_pixels - height) / 3 : width / 20;
    window_ = xcb_generate_id(connection);
    const uint32_t values[] = {XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_BUTTON_PRESS |
                               XCB_EVENT_MASK_KEY_PRESS};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window_, screen->root,
                      static_cast<int16_t>(std::max(x, 0)), static_cast<int16_t>(std::max(y, 0)),
                      static_cast<uint16_t>(width), static_cast<uint16_t>(height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, values);
    SetProperties(x, y, width, height);
    surface_.reset(cairo_xcb_surface_create(connection, window_, RootVisual(screen), width, height));
    xcb_map_window(connection, window_);
    xcb_flush(connection);
  }

  void SetProperties(int x, int y, int width, int height) {
    xcb_connection_t* const connection = connection_.get();
    const auto set = [&](xcb_atom_t name, xcb_atom_t type, uint8_t format, size_t count, const void* data) {
      xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window_, name, type, format,
                          static_cast<uint32_t>(count), data);
    };
    set(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, std::strlen(kTitle), kTitle);
    set(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, sizeof "kvnotify\0Kvnotify", "kvnotify\0Kvnotify");
    const bool question = kind_ == NoticeKind::kQuestion;
    const xcb_atom_t type =
        Atom(connection, question ? "_NET_WM_WINDOW_TYPE_DIALOG" : "_NET_WM_WINDOW_TYPE_NOTIFICATION");
    set(Atom(connection, "_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32, 1, &type);
    const xcb_atom_t states[] = {Atom(connection, "_NET_WM_STATE_ABOVE"),
                                 Atom(connection, "_NET_WM_STATE_STICKY")};
    set(Atom(connection, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32, 2, states);
    deleteWindow_ = Atom(connection, "WM_DELETE_WINDOW");
    set(Atom(connection, "WM_PROTOCOLS"), XCB_ATOM_ATOM, 32, 1, &deleteWindow_);
    // ICCCM 4.1.2.3: position, minimum and maximum size; 18 numbers.
    constexpr uint32_t kProgramPosition = 1 << 2;
    constexpr uint32_t kMinSize = 1 << 4;
    constexpr uint32_t kMaxSize = 1 << 5;
    const int32_t hints[18] = {
        kProgramPosition | kMinSize | kMaxSize, x, y, width, height, width, height, width, height};
    set(XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32, 18, hints);
    // A notice never takes the keyboard from the window that is being worked in.
    const uint32_t input[9] = {1, question ? 1U : 0U};
    set(XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 32, 9, input);
  }

  void TakeKeyboard() {
    keyboardBefore_ = InputFocus();
    // Should this process be killed, the keyboard goes where the pointer is.
    xcb_set_input_focus(connection_.get(), XCB_INPUT_FOCUS_POINTER_ROOT, window_, XCB_CURRENT_TIME);
  }

  // Unless another has taken it meanwhile.
  void GiveKeyboardBack() {
    const auto now = InputFocus();
    if (!now || now->focus != window_) return;
    xcb_set_input_focus(connection_.get(), keyboardBefore_->revert_to, keyboardBefore_->focus,
                        XCB_CURRENT_TIME);
    // The server may drop what it has not read when the connection ends.
    InputFocus();
  }

  MallocPtr<xcb_get_input_focus_reply_t> InputFocus() const {
    return MallocPtr<xcb_get_input_focus_reply_t>(
        xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
  }

  void Paint(std::chrono::seconds left) {
    const std::string seconds = std::to_string(left.count());
    const Cairo cairo(cairo_create(surface_.get()));
    painter_.Paint(
        cairo.get(),
        kind_ == NoticeKind::kQuestion ? "Without an answer, refused in " + seconds + " s" : "Click to close",
        focus_);
    cairo_surface_flush(surface_.get());
    xcb_flush(connection_.get());
  }

  // Until something arrives, or the number of seconds is another.
  void WaitForInput(Clock::time_point end, Clock::time_point now) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
    pollfd fds[] = {{xcb_get_file_descriptor(connection_.get()), POLLIN, 0}, {pipe_, POLLIN, 0}};
    poll(fds, std::size(fds), static_cast<int>(std::min<std::chrono::milliseconds>(left, 1s).count()));
  }

  // Nobody has the other end of the pipe any more, or ever had while it was open here.
  [[nodiscard]] bool TakenBack() const {
    char byte = 0;
    return read(pipe_, &byte, 1) == 0;
  }

  void Take(const xcb_generic_event_t& event, bool counts) {
    constexpr uint8_t kSent = 0x80;
    const bool question = kind_ == NoticeKind::kQuestion;
    switch (event.response_type & ~kSent) {
      case XCB_CLIENT_MESSAGE:
        if (reinterpret_cast<const xcb_client_message_event_t&>(event).data.data32[0] == deleteWindow_)
          answer_ = false;
        break;
      case XCB_BUTTON_PRESS: {
        const auto& press = reinterpret_cast<const xcb_button_press_event_t&>(event);
        if (!question)
          answer_ = false;
        else if (counts && press.detail == XCB_BUTTON_INDEX_1 && (event.response_type & kSent) == 0)
          Press(painter_.ButtonAt(press.event_x, press.event_y));
        break;
      }
      case XCB_KEY_PRESS:
        // One that another client made up is no user's.
        if (question && counts && (event.response_type & kSent) == 0)
          TakeKey(KeySymbol(connection_.get(), reinterpret_cast<const xcb_key_press_event_t&>(event).detail));
        break;
      default:
        break;
    }
  }

  void TakeKey(xkb_keysym_t symbol) {
    switch (symbol) {
      case XKB_KEY_Tab:
      case XKB_KEY_ISO_Left_Tab:
      case XKB_KEY_Left:
      case XKB_KEY_Right:
        focus_ = focus_ == Button::kRefuse ? Button::kAllow : Button::kRefuse;
        break;
      case XKB_KEY_Return:
      case XKB_KEY_KP_Enter:
      case XKB_KEY_space:
        Press(focus_);
        break;
      case XKB_KEY_Escape:
        answer_ = false;
        break;
      default:
        break;
    }
  }

  void Press(Button button) {
    if (button != Button::kNone) answer_ = button == Button::kAllow;
  }

  Connection connection_;
  const int pipe_;
  const NoticeKind kind_;
  NoticePainter painter_;
  Surface surface_;
  xcb_window_t window_ = XCB_NONE;
  xcb_atom_t deleteWindow_ = XCB_ATOM_NONE;
  MallocPtr<xcb_get_input_focus_reply_t> keyboardBefore_;  // null: nothing was taken
  Button focus_ = Button::kRefuse;
  std::optional<bool> answer_;
};

}  // namespace

std::optional<bool> ShowNotice(NoticeKind kind, const std::string& text, std::chrono::seconds limit,
                               int pipe) {
  int number = 0;
  Connection connection(xcb_connect(nullptr, &number));
  if (xcb_connection_has_error(connection.get()) != 0) return std::nullopt;
  xcb_screen_t* const screen = ScreenOf(connection.get(), number);
  if (screen == nullptr || RootVisual(screen) == nullptr) return std::nullopt;
  return Window(std::move(connection), screen, kind, text, pipe).Wait(Clock::now() + limit);
}

}  // namespace tools
