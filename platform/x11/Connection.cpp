#include "platform/x11/Connection.h"

#include <pthread.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>
#include <xcb/xtest.h>

#include "platform/x11/Segments.h"
#include "platform/x11/Session.h"

namespace platform::x11 {
namespace {

// A key and not a thread_local: its destructor runs when a thread ends, but not when a thread calls exit(),
// whose exit handlers still talk to the server.
pthread_key_t ConnectionKey() {
  static const pthread_key_t key = [] {
    pthread_key_t made{};
    pthread_key_create(&made, [](void* connection) { delete static_cast<Connection*>(connection); });
    return made;
  }();
  return key;
}

const xcb_screen_t* ScreenOf(xcb_connection_t* xcb, int number) {
  auto screens = xcb_setup_roots_iterator(xcb_get_setup(xcb));
  for (; number > 0 && screens.rem > 1; --number) xcb_screen_next(&screens);
  return screens.data;
}

}  // namespace

std::unique_ptr<Connection> Connection::Open() {
  int screen = 0;
  xcb_connection_t* const xcb = Session::Instance().Open(screen);
  if (xcb == nullptr) return nullptr;
  std::unique_ptr<Connection> connection(new Connection(xcb, screen));
  if (!connection->Alive()) return nullptr;
  return connection;
}

Connection* Connection::Current() {
  if (Session::Instance().Over()) return nullptr;
  auto* connection = static_cast<Connection*>(pthread_getspecific(ConnectionKey()));
  if (connection == nullptr) {
    connection = Open().release();
    if (connection == nullptr) return nullptr;
    pthread_setspecific(ConnectionKey(), connection);
  }
  connection->DiscardEvents();
  return connection;
}

Connection::Connection(xcb_connection_t* xcb, int screen) : xcb_(xcb), screen_(ScreenOf(xcb, screen)) {
  for (xcb_extension_t* const extension : {&xcb_test_id, &xcb_shm_id, &xcb_randr_id, &xcb_damage_id}) {
    xcb_prefetch_extension_data(xcb_, extension);
  }
  if (Extension(xcb_test_id) != nullptr) xcb_test_grab_control(xcb_, 1);
  segments_ = std::make_shared<SegmentPool>(*this);
}

// The server lets go of its side of all segments; images that are still out keep theirs.
Connection::~Connection() { Session::Instance().Close(xcb_); }

uint32_t Connection::Root() const { return screen_->root; }

int Connection::Fd() const { return xcb_get_file_descriptor(xcb_); }

const xcb_query_extension_reply_t* Connection::Extension(xcb_extension_t& extension) const {
  const xcb_query_extension_reply_t* const data = xcb_get_extension_data(xcb_, &extension);
  return data != nullptr && data->present != 0 ? data : nullptr;
}

bool Connection::Flush() {
  xcb_flush(xcb_);
  return Alive();
}

bool Connection::Alive() {
  if (xcb_connection_has_error(xcb_) == 0) return true;
  Session::Instance().Lost();
  return false;
}

bool Connection::Finish() { return Await<xcb_get_input_focus_reply_t>(xcb_get_input_focus(xcb_)) != nullptr; }

void* Connection::AwaitReply(unsigned sequence) {
  xcb_generic_error_t* error = nullptr;
  void* const reply = xcb_wait_for_reply(xcb_, sequence, &error);
  const MallocPtr<xcb_generic_error_t> refusal(error);
  if (reply == nullptr && !refusal) (void)Alive();
  return reply;
}

bool Connection::AwaitSuccess(unsigned sequence) {
  const MallocPtr<xcb_generic_error_t> refusal(xcb_request_check(xcb_, {sequence}));
  return Alive() && !refusal;
}

void Connection::DiscardEvents() {
  while (const MallocPtr<xcb_generic_event_t> event{xcb_poll_for_queued_event(xcb_)}) {
  }
}

}  // namespace platform::x11
