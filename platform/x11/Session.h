// The process's tie to its X server: opens connections within a time, and cuts all of them when the session
// is over.
#pragma once
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/ThreadSafety.h"

struct xcb_connection_t;

namespace platform::x11 {

// The one place that knows every open connection. Any thread.
//
// XCB waits without a way out: for a reply, for room in the socket, for the greeting of a server. The way out
// is here: cutting shuts the sockets down, upon which everything that waits in them fails at once. That
// happens when one connection finds the server gone, and three seconds after the process began to end, so
// that no server that has stopped answering holds up the end.
class Session {
 public:
  // Lives as long as the process: threads may still call when static objects are destroyed.
  static Session& Instance();

  // Connects to the display that DISPLAY names and waits at most five seconds. Null when there is none, when
  // it does not answer, and when the session is over. `screen` is the number of the screen to use. Close()
  // it.
  [[nodiscard]] xcb_connection_t* Open(int& screen) EXCLUDES(lock_);
  void Close(xcb_connection_t* connection) EXCLUDES(lock_);

  // XCB's code for the last Open() that failed; 0 when the server did not answer in time.
  [[nodiscard]] int OpenError() EXCLUDES(lock_);

  // The server is gone: says so once, and ends the session. No effect when the session is over already.
  void Lost() EXCLUDES(lock_);

  // Why the server's loss ended the session; empty when it did not.
  [[nodiscard]] std::string Loss() EXCLUDES(lock_);

  // Nothing can be asked any more.
  [[nodiscard]] bool Over() const { return over_.load(std::memory_order_acquire); }

 private:
  struct Opening;

  Session() = default;
  void RunOpening(const std::shared_ptr<Opening>& opening) EXCLUDES(lock_);
  void WatchEnding() EXCLUDES(lock_);
  void CutLocked() REQUIRES(lock_);
  [[nodiscard]] bool WaitForOpeningLocked(const Opening& opening,
                                          std::chrono::steady_clock::time_point deadline) REQUIRES(lock_);

  Lock lock_;
  Condition changed_;
  std::atomic<bool> over_{false};
  bool watched_ GUARDED_BY(lock_) = false;
  // The attempt that is under way; one at a time, since one that hangs makes the next hang, too.
  std::shared_ptr<Opening> opening_ GUARDED_BY(lock_);
  int openError_ GUARDED_BY(lock_) = 0;
  std::string display_ GUARDED_BY(lock_);
  std::string loss_ GUARDED_BY(lock_);
  std::vector<xcb_connection_t*> connections_ GUARDED_BY(lock_);
};

}  // namespace platform::x11
