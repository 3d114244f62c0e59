// Which variables a process of a session tells about it.
#pragma once
#include <map>
#include <string>
#include <string_view>

namespace platform {

using Variables = std::map<std::string, std::string>;

// Of an environment as the kernel shows it ("NAME=value", each with a NUL behind it): DISPLAY, XAUTHORITY,
// XDG_RUNTIME_DIR, DBUS_SESSION_BUS_ADDRESS and LANG. The user has written it and root's programs get it, so
// a value that would make them do more than connect to a local socket is left out.
Variables SessionVariables(std::string_view environment);

}  // namespace platform
