// Where the pointer is, counted from the bottom of the main display.
#include <CoreGraphics/CGDirectDisplay.h>
#include <xcb/xcb.h>

#include "platform/System.h"
#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"

std::optional<CGPoint> platform::PointerLocation() {
  using namespace platform::x11;
  const CallScope scope;
  Connection* const connection = Connection::Current();
  if (connection == nullptr) return std::nullopt;
  const auto pointer =
      connection->Await<xcb_query_pointer_reply_t>(xcb_query_pointer(connection->Get(), connection->Root()));
  if (!pointer) return std::nullopt;
  const CGRect main = CGDisplayBounds(CGMainDisplayID());
  return CGPoint{static_cast<double>(pointer->root_x), main.size.height - pointer->root_y};
}
