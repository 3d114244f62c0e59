// The application's main loop, which ends with the session.
#include <CoreFoundation/CFRunLoop.h>
#include <glib-unix.h>
#include <xcb/xcb.h>

#include "platform/System.h"
#include "platform/corefoundation/RunLoop.h"
#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/Leftovers.h"

namespace platform::x11 {
namespace {

// Nothing is asked for on this connection; what every client is sent anyway is thrown away. Its end is the
// session's.
gboolean OnSessionInput(int, GIOCondition, void* connection) {
  const CallScope scope;
  auto& session = *static_cast<Connection*>(connection);
  while (const MallocPtr<xcb_generic_event_t> event{xcb_poll_for_event(session.Get())}) {
  }
  if (!session.Alive()) platform::Exit(1);
  return G_SOURCE_CONTINUE;
}

}  // namespace
}  // namespace platform::x11

int NSApplicationMain(int, const char*[]) {
  using namespace platform::x11;
  std::unique_ptr<Connection> session;
  {
    const CallScope scope;
    session = Connection::Open();
    if (session) ClearLeftovers(*session);
  }
  if (!session) {
    platform::ConsoleLog("%s", platform::DescribeSession().c_str());
    platform::Exit(1);
  }
  GSource* const source =
      g_unix_fd_source_new(session->Fd(), static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR));
  g_source_set_callback(source, reinterpret_cast<GSourceFunc>(reinterpret_cast<void (*)()>(OnSessionInput)),
                        session.get(), nullptr);
  g_source_attach(source, platform::cf::RunLoopContext(CFRunLoopGetMain()));
  platform::cf::RunMainLoopForever();
}
