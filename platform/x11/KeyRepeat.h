// Keeps single keys from repeating, on all keyboards: for a server whose posting keyboard has no setting of
// its own.
#pragma once
#include <cstdint>

namespace platform::x11 {

class Connection;

// For the time in which the key is held. False when it is left alone, since it does not repeat. The root
// notes it, so that it outlives a crash.
[[nodiscard]] bool StopKeyRepeat(Connection& connection, uint8_t code);
void ResumeKeyRepeat(Connection& connection, uint8_t code);

// Of every key that somebody stopped.
void ResumeAllKeyRepeat(Connection& connection);

}  // namespace platform::x11
