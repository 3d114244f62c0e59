// What a process that was killed leaves on the server: keys and buttons that are down, keys that do not
// repeat, a dark screen.
#pragma once

namespace platform::x11 {

class Connection;

// Ends all of it, unless a process that posts events or darkens the screen is still there: then it may be
// that one's.
void ClearLeftovers(Connection& connection);

// This process may leave something from now on. To be called with a connection that lasts as long as it does.
void AnnounceLeftovers(Connection& connection);

}  // namespace platform::x11
