#include "platform/linux/Ending.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>

#include "platform/System.h"

namespace platform {

namespace {

std::atomic<bool> gEnding = false;
// Set in the one thread that runs the exit handlers.
thread_local bool tRunsExitHandlers = false;

void WakeWaiters() {
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(EndingFd(), &one, sizeof one);
}

}  // namespace

int EndingFd() {
  static const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  return fd;
}

void Exit(int status) {
  if (!gEnding.exchange(true)) {
    tRunsExitHandlers = true;
    WakeWaiters();
    std::exit(status);
  }
  // An exit handler that meets another reason to end: glibc goes on with the handlers that have not run yet.
  if (tRunsExitHandlers) std::exit(status);
  for (;;) pause();
}

void DebuggerBreak() { raise(SIGTRAP); }

}  // namespace platform
