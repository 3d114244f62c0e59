// The smallest program that could do the observer's work: one damage event, one shared-memory grab, one copy,
// one conversion and one answer over a socket. What the observer's latency is compared with.
#pragma once

namespace bench {

// Serves one client on the connected stream socket `socket`: for each 2-byte request an 808-byte answer whose
// second 32-bit field is 1 when something was redrawn since the answer before (its pixels are converted by
// then), else 0. Watches the display of $DISPLAY. Writes one byte to `socket` when it is ready; returns when
// the client closes.
void ServeSmallestLoop(int socket);

}  // namespace bench
