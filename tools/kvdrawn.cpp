// kvdrawn: says that the display was drawn on, each time it is asked. Start reading in main(), at the end.
#include <poll.h>
#include <unistd.h>
#include <xcb/damage.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr char kHelp[] =
    R"(kvdrawn - says when the display that DISPLAY names is drawn on; kvremote runs it

A byte goes to the output when the display has been drawn on, then one is awaited from the input, and so on. The end
of the input ends the program.

Exit status
  0   the input has ended
  2   the arguments make no sense
  3   there is no display, or one that does not tell; it has gone
)";

enum ExitCode { kDone = 0, kUsage = 2, kNoDisplay = 3 };

// Reports the first drawing after each Forget(), and no more: however much is drawn, it costs nothing until
// somebody wants to know.
class Drawing {
 public:
  Drawing() : x_(xcb_connect(nullptr, nullptr), xcb_disconnect) {
    if (!Alive()) return;
    const auto* const extension = xcb_get_extension_data(x_.get(), &xcb_damage_id);
    if (extension == nullptr || extension->present == 0) return;
    std::free(xcb_damage_query_version_reply(x_.get(), xcb_damage_query_version(x_.get(), 1, 1), nullptr));
    damage_ = xcb_generate_id(x_.get());
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(x_.get())).data->root;
    xcb_damage_create(x_.get(), damage_, root, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    xcb_flush(x_.get());
  }

  [[nodiscard]] bool Tells() const { return damage_ != 0 && Alive(); }
  [[nodiscard]] int Fd() const { return xcb_get_file_descriptor(x_.get()); }

  // There was some.
  [[nodiscard]] bool Seen() {
    const std::unique_ptr<xcb_generic_event_t, void (*)(void*)> event(xcb_poll_for_event(x_.get()),
                                                                      std::free);
    return event != nullptr && event->response_type != 0;
  }
  // Returns when the server has done it: what is drawn from then on is reported.
  void Forget() {
    std::free(
        xcb_request_check(x_.get(), xcb_damage_subtract_checked(x_.get(), damage_, XCB_NONE, XCB_NONE)));
  }

 private:
  [[nodiscard]] bool Alive() const { return xcb_connection_has_error(x_.get()) == 0; }

  const std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> x_;
  xcb_damage_damage_t damage_ = 0;
};

ExitCode Serve(Drawing& drawing) {
  while (drawing.Tells()) {
    if (!drawing.Seen()) {
      pollfd entries[] = {{drawing.Fd(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
      poll(entries, 2, -1);
      if (entries[1].revents != 0) return kDone;
      continue;
    }
    // Before the word is out, or what is drawn behind it could be forgotten with the rest.
    drawing.Forget();
    char byte = '!';
    if (write(STDOUT_FILENO, &byte, 1) != 1 || read(STDIN_FILENO, &byte, 1) != 1) return kDone;
  }
  std::fputs("kvdrawn: no display that tells of drawing\n", stderr);
  return kNoDisplay;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
    std::fputs(kHelp, stdout);
    return kDone;
  }
  if (argc != 1) {
    std::fputs(kHelp, stderr);
    return kUsage;
  }
  Drawing drawing;
  return Serve(drawing);
}
