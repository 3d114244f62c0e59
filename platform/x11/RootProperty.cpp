#include "platform/x11/RootProperty.h"

#include <xcb/xcb.h>

#include "platform/x11/Connection.h"

namespace platform::x11 {

RootProperty::RootProperty(Connection& connection, std::string_view name, uint32_t window)
    : connection_(connection), window_(window == 0 ? connection.Root() : window) {
  const auto atom = connection.Await<xcb_intern_atom_reply_t>(
      xcb_intern_atom(connection.Get(), 0, static_cast<uint16_t>(name.size()), name.data()));
  if (atom) name_ = atom->atom;
}

std::vector<uint32_t> RootProperty::Read() const {
  constexpr uint32_t kMostWords = 1 << 20;
  const auto reply = connection_.Await<xcb_get_property_reply_t>(
      xcb_get_property(connection_.Get(), 0, window_, name_, XCB_ATOM_CARDINAL, 0, kMostWords));
  if (!reply || reply->format != 32) return {};
  const auto* const values = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
  return {values, values + reply->value_len};
}

void RootProperty::Write(std::span<const uint32_t> values) const {
  xcb_change_property(connection_.Get(), XCB_PROP_MODE_REPLACE, window_, name_, XCB_ATOM_CARDINAL, 32,
                      static_cast<uint32_t>(values.size()), values.data());
}

void RootProperty::Append(uint32_t value) const {
  xcb_change_property(connection_.Get(), XCB_PROP_MODE_APPEND, window_, name_, XCB_ATOM_CARDINAL, 32, 1,
                      &value);
}

void RootProperty::Delete() const { xcb_delete_property(connection_.Get(), window_, name_); }

ServerGrab::ServerGrab(Connection& connection) : connection_(connection) {
  xcb_grab_server(connection.Get());
}

ServerGrab::~ServerGrab() {
  xcb_ungrab_server(connection_.Get());
  (void)connection_.Flush();
}

}  // namespace platform::x11
