// The graphical session at the console, as the session manager knows it.
#pragma once
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace platform {

struct GraphicalSession {
  std::string name;  // the session manager's
  uid_t user = 0;
  bool loginWindow = false;
};

// The active session of the machine's first seat; nothing without a session manager, and while no session is
// active.
std::optional<GraphicalSession> ActiveGraphicalSession();

// How a program of the session reaches its display and its bus, as far as that is known: "NAME=value". Looks
// at all processes of the session.
std::vector<std::string> EnvironmentOf(const GraphicalSession& session);

// The name of the session that this process belongs to: its own one, else that of its display, else that of
// its user. Empty when the session manager knows none, and without one.
std::string OwnSession();

}  // namespace platform
