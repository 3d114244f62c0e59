// How long from a mouse record at the command socket to its event at a program of the session?
//
// The whole observer, a process of its own with a view under way, beside a bare program that takes the same
// record from a ZeroMQ REP socket and posts it by XTEST, a process too. The same client sends to both, and
// the same X client waits for the event. The ratio is the observer's time over the bare program's.
#include <signal.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>
#include <zmq.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/Rounds.h"
#include "broker/Commands.h"
#include "platform/Handles.h"
#include "platform/System.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ObserverProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"

namespace {

constexpr int kRounds = 31;
constexpr int kRecords = 200;  // a round
constexpr int kPlaces = 600;

void Require(bool fine, const char* what) {
  if (fine) return;
  std::fprintf(stderr, "injection: %s failed\n", what);
  std::exit(1);
}

// The bare program: until it is killed.
[[noreturn]] void RunBare(const char* endpoint) {
  xcb_connection_t* const x = xcb_connect(nullptr, nullptr);
  Require(xcb_connection_has_error(x) == 0, "the bare program's connection to the X server");
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(x)).data->root;
  void* const socket = zmq_socket(zmq_ctx_new(), ZMQ_REP);
  Require(zmq_bind(socket, endpoint) == 0, "the bare program's socket");
  for (;;) {
    int32_t id = 0;
    MouseEventRecord record{};
    zmq_recv(socket, &id, sizeof id, 0);
    zmq_recv(socket, &record, sizeof record, 0);
    xcb_test_fake_input(x, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root, static_cast<int16_t>(record.x),
                        static_cast<int16_t>(record.y), 0);
    xcb_flush(x);
    zmq_send(socket, "", 0, 0);
  }
}

// A window over the whole root that is told of every move.
class Program {
 public:
  Program() : x_(xcb_connect(nullptr, nullptr)) {
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(x_)).data;
    const xcb_window_t window = xcb_generate_id(x_);
    const uint32_t values[] = {1, XCB_EVENT_MASK_POINTER_MOTION};
    xcb_create_window(x_, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, screen->width_in_pixels,
                      screen->height_in_pixels, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    xcb_map_window(x_, window);
    xcb_flush(x_);
    // Mapped when this is answered.
    const platform::MallocPtr<xcb_get_input_focus_reply_t> done(
        xcb_get_input_focus_reply(x_, xcb_get_input_focus(x_), nullptr));
  }
  ~Program() { xcb_disconnect(x_); }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void AwaitMoveTo(int x) {
    for (;;) {
      const platform::MallocPtr<xcb_generic_event_t> event(xcb_wait_for_event(x_));
      Require(event != nullptr, "the X server");
      xcb_motion_notify_event_t motion{};
      std::memcpy(&motion, event.get(), sizeof motion);
      if ((motion.response_type & 0x7F) == XCB_MOTION_NOTIFY && motion.root_x == x) return;
    }
  }

 private:
  xcb_connection_t* x_;
};

class Client {
 public:
  explicit Client(const std::string& endpoint) : socket_(zmq_socket(context_, ZMQ_REQ)) {
    Require(zmq_connect(socket_, endpoint.c_str()) == 0, "a client's connection");
  }
  ~Client() {
    zmq_close(socket_);
    zmq_ctx_destroy(context_);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  template <class Record>
  void Send(const Record& record) {
    const int32_t id = kCommandMessageId;
    zmq_send(socket_, &id, sizeof id, ZMQ_SNDMORE);
    zmq_send(socket_, &record, sizeof record, 0);
  }
  void AwaitReply() {
    char reply[16];
    Require(zmq_recv(socket_, reply, sizeof reply, 0) == 0, "a reply");
  }

 private:
  void* context_ = zmq_ctx_new();
  void* socket_;
};

// The median of a round.
double Round(Client& client, Program& program) {
  static int place = 0;
  std::vector<double> times;
  for (int i = 0; i < kRecords; ++i) {
    place = (place + 7) % kPlaces;
    const auto coordinate = static_cast<uint16_t>(place);
    const MouseEventRecord record = {CMD_VIEW_MOUSEEVENT, {}, 1, coordinate, coordinate};
    times.push_back(bench::Microseconds([&] {
      client.Send(record);
      program.AwaitMoveTo(place);
    }));
    client.AwaitReply();
  }
  return bench::Summarise(std::move(times)).median;
}

}  // namespace

int main(int argc, const char* argv[]) {
  if (argc == 3) RunBare(argv[2]);
  const test::XServer server;
  const test::TemporaryFolder folder;
  setenv("KORVANE_PORTS_DIR", (folder / "ports").c_str(), 1);
  const std::string endpoint = "ipc://" + (folder / "bare");
  const pid_t bare = test::Spawn({platform::ExecutablePath(), "bare", endpoint});
  test::ObserverProcess observer(KVOBSERVE_BUNDLE);
  observer.Start();
  Require(observer.WaitUntilListening(), "the observer's start");

  Program program;
  {
    Client ours("ipc://" + observer.EndpointPath());
    Client theirs(endpoint);
    ours.Send(ViewStartRecord{CMD_VIEW_START_HTML5, {}, 0, 0, 0});
    ours.AwaitReply();
    std::printf("a mouse record, %d rounds of %d\n", kRounds, kRecords);
    const auto results = bench::Run({{"REP socket and XTEST", [&] { return Round(theirs, program); }},
                                     {"observer", [&] { return Round(ours, program); }}},
                                    kRounds);
    std::printf("observer at %.2f times the bare program's time\n", results[1].median / results[0].median);
  }
  kill(bare, SIGKILL);
  return 0;
}
