// The signals of the dispatcher, as bytes of a pipe that its loop waits for.
#pragma once

namespace service {

// From here on SIGTERM, SIGINT, SIGHUP and SIGCHLD wake the loop, and writing to somebody who has gone is an
// error like others. False when there is no pipe to be had. Once, before other threads are started.
[[nodiscard]] bool CatchSignals();

// Readable when a signal came.
[[nodiscard]] int SignalFd();

struct SignalsSeen {
  bool end = false;
  bool childEnded = false;
};

// Takes what came since the last call.
[[nodiscard]] SignalsSeen TakeSignals();

}  // namespace service
