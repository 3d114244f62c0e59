// The display, its server, extensions and monitors in one line, or why there is none.
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>
#include <xcb/xfixes.h>
#include <xcb/xtest.h>

#include <cstdlib>
#include <string_view>

#include "platform/System.h"
#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/Displays.h"
#include "platform/x11/Segments.h"
#include "platform/x11/Session.h"

namespace platform::x11 {
namespace {

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string WhyNoDisplay() {
  const std::string display = Environment("DISPLAY");
  if (display.empty()) {
    const bool wayland =
        !Environment("WAYLAND_DISPLAY").empty() || Environment("XDG_SESSION_TYPE") == "wayland";
    return wayland ? "a Wayland session without an X server" : "DISPLAY is not set";
  }
  Session& session = Session::Instance();
  if (std::string loss = session.Loss(); !loss.empty()) return loss;
  switch (session.OpenError()) {
    case 0:
      return "the X server of display " + display + " does not answer";
    case XCB_CONN_CLOSED_PARSE_ERR:
      return "DISPLAY is \"" + display + "\", which names no display";
    case XCB_CONN_CLOSED_INVALID_SCREEN:
      return "display " + display + " has no such screen";
    default:
      return "display " + display + " cannot be reached";
  }
}

std::string Version(uint32_t major, uint32_t minor) {
  return std::to_string(major) + "." + std::to_string(minor);
}

// Whether a piece of memory of ours can be handed to the server.
bool TakesMemoryFiles(Connection& connection) {
  const int file = MakeMemoryFile(4096);
  if (file < 0) return false;
  const uint32_t id = xcb_generate_id(connection.Get());
  if (!connection.Succeeded(xcb_shm_attach_fd_checked(connection.Get(), id, file, 0))) return false;
  xcb_shm_detach(connection.Get(), id);
  return true;
}

template <class Reply, class Cookie>
std::string VersionOf(Connection& connection, Cookie cookie) {
  const auto reply = connection.Await<Reply>(cookie);
  return reply ? Version(reply->major_version, reply->minor_version) : "?";
}

// Name and version; nothing but the name for an extension whose version takes a library of its own.
std::string DescribeExtension(Connection& connection, std::string_view name) {
  xcb_connection_t* const x = connection.Get();
  std::string text(name);
  if (name == "DAMAGE") {
    text += " " + VersionOf<xcb_damage_query_version_reply_t>(connection, xcb_damage_query_version(x, 1, 1));
  } else if (name == "XFIXES") {
    text += " " + VersionOf<xcb_xfixes_query_version_reply_t>(connection, xcb_xfixes_query_version(x, 5, 0));
  } else if (name == "RANDR") {
    text += " " + VersionOf<xcb_randr_query_version_reply_t>(connection, xcb_randr_query_version(x, 1, 5));
  } else if (name == "XTEST") {
    text += " " + VersionOf<xcb_test_get_version_reply_t>(connection, xcb_test_get_version(x, 2, 2));
  } else if (name == "MIT-SHM") {
    text += " " + VersionOf<xcb_shm_query_version_reply_t>(connection, xcb_shm_query_version(x));
    text += TakesMemoryFiles(connection) ? " with memory files" : " without memory files";
  }
  return text;
}

bool HasExtension(Connection& connection, std::string_view name) {
  const auto reply = connection.Await<xcb_query_extension_reply_t>(
      xcb_query_extension(connection.Get(), static_cast<uint16_t>(name.size()), name.data()));
  return reply && reply->present != 0;
}

std::string DescribeExtensions(Connection& connection) {
  std::string found;
  std::string missing;
  for (const std::string_view name :
       {"DAMAGE", "XFIXES", "MIT-SHM", "RANDR", "XTEST", "XInputExtension", "XKEYBOARD"}) {
    const bool present = HasExtension(connection, name);
    std::string& list = present ? found : missing;
    if (!list.empty()) list += ", ";
    list += present ? DescribeExtension(connection, name) : std::string(name);
  }
  return "extensions " + (found.empty() ? "none" : found) + (missing.empty() ? "" : "; missing " + missing);
}

std::string DescribeServer(const Connection& connection) {
  const xcb_setup_t* const setup = xcb_get_setup(connection.Get());
  const std::string vendor(xcb_setup_vendor(setup), static_cast<size_t>(xcb_setup_vendor_length(setup)));
  const uint32_t release = setup->release_number;
  // X.Org's servers put four numbers into the one that the protocol has room for.
  if (vendor.find("X.Org") == std::string::npos) return vendor + " " + std::to_string(release);
  return vendor + " " + std::to_string(release / 10'000'000) + "." + std::to_string(release / 100'000 % 100) +
         "." + std::to_string(release / 1'000 % 100) + "." + std::to_string(release % 1'000);
}

std::string DescribeMonitors(Connection& connection) {
  const auto displays = Displays::Instance().Ask(connection);
  std::string text;
  if (!displays || displays->empty()) return "no monitor";
  for (const DisplayInfo& display : *displays) {
    const PixelRect& bounds = display.bounds;
    text += (text.empty() ? "monitors " : ", ") + Displays::Instance().NameOf(connection, display.id) + " " +
            std::to_string(bounds.Width()) + "x" + std::to_string(bounds.Height()) + "+" +
            std::to_string(bounds.left) + "+" + std::to_string(bounds.top) + (display.main ? " main" : "");
  }
  return text;
}

}  // namespace
}  // namespace platform::x11

std::string platform::DescribeSession() {
  using namespace platform::x11;
  const CallScope scope;
  Connection* const connection = Connection::Current();
  if (connection == nullptr) return "no display: " + WhyNoDisplay();
  std::string text = "display " + Environment("DISPLAY") + ": " + DescribeServer(*connection) + "; " +
                     DescribeExtensions(*connection) + "; " + DescribeMonitors(*connection);
  return connection->Alive() ? text : "no display: " + WhyNoDisplay();
}
