#include "platform/x11/CallScope.h"

#include <ctime>

#include "platform/x11/Session.h"

namespace platform::x11 {
namespace {

sigset_t PipeSignal() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

bool PipeIsPending() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

CallScope::CallScope() {
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState_);
  const sigset_t pipe = PipeSignal();
  pthread_sigmask(SIG_BLOCK, &pipe, &signals_);
  // Only a caller that blocks the signal itself can have one waiting, which then stays its own.
  pipeWasPending_ = sigismember(&signals_, SIGPIPE) == 1 && PipeIsPending();
}

CallScope::~CallScope() {
  if (Session::Instance().Over() && !pipeWasPending_ && PipeIsPending()) {
    const sigset_t pipe = PipeSignal();
    const timespec atOnce{};
    sigtimedwait(&pipe, nullptr, &atOnce);
  }
  pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
  pthread_setcancelstate(cancelState_, nullptr);
}

}  // namespace platform::x11
