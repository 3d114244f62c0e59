// Where message ports lie in the file system, and who may talk to whom.
//
// A port NAME is the stream socket NAME in $KORVANE_PORTS_DIR, else in /tmp/.korvane-ports. Everybody may put
// a name into the folder, so a client trusts no server but its own user's and root's.
#pragma once
#include <CoreFoundation/CFBase.h>
#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

#include "platform/Handles.h"
#include "platform/LocalSocket.h"

namespace platform::cf {

// Nothing for a name that cannot be that of a file.
[[nodiscard]] std::optional<std::string> PortPath(CFStringRef name);

// A listening socket and its name; from then on clients can connect.
struct PortListener {
  UniqueFd socket;
  LocalSocketName name;
};
// Takes over the name of a server that has died. Nothing, with a line on the console that says why, when a
// server has the name, or when the folder is not fit.
[[nodiscard]] std::optional<PortListener> ListenOnPort(const std::string& path);

// A connection that does not block; none when there is no server, or none to be trusted (which the console
// is told), or when it does not take the connection in that time.
[[nodiscard]] UniqueFd ConnectToPort(const std::string& path, std::chrono::milliseconds patience);

// Who is at the other end.
[[nodiscard]] std::optional<uid_t> PeerUser(int socket);

}  // namespace platform::cf
