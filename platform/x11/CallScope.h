// What every call into this folder does first: the thread cannot be cancelled, and a broken connection raises
// no signal.
#pragma once
#include <pthread.h>

#include <csignal>

namespace platform::x11 {

// A cancelled thread would leave XCB's locks and buffers half-way, which breaks the connection and hangs or
// crashes the next call. A write to a server that is gone raises SIGPIPE in the writing thread; it is held
// back and taken away.
class CallScope {
 public:
  CallScope();
  ~CallScope();
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

 private:
  int cancelState_ = 0;
  sigset_t signals_;
  bool pipeWasPending_ = false;
};

}  // namespace platform::x11
