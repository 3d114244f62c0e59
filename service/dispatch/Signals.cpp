#include "service/dispatch/Signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

namespace service {

namespace {

int gPipe[2] = {-1, -1};
volatile std::sig_atomic_t gEnd = 0;
volatile std::sig_atomic_t gChildEnded = 0;

// A full pipe wakes the loop as well as another byte would.
void Wake() {
  const int error = errno;
  [[maybe_unused]] const ssize_t written = write(gPipe[1], "", 1);
  errno = error;
}

void OnEnd(int) {
  gEnd = 1;
  Wake();
}

void OnChild(int) {
  gChildEnded = 1;
  Wake();
}

void Catch(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
}

}  // namespace

bool CatchSignals() {
  if (pipe(gPipe) != 0) return false;
  for (const int fd : gPipe) {
    fcntl(fd, F_SETFD, FD_CLOEXEC);
    fcntl(fd, F_SETFL, O_NONBLOCK);
  }
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) Catch(signal, OnEnd);
  Catch(SIGCHLD, OnChild);
  Catch(SIGPIPE, SIG_IGN);
  return true;
}

int SignalFd() { return gPipe[0]; }

SignalsSeen TakeSignals() {
  char bytes[64];
  while (read(gPipe[0], bytes, sizeof bytes) > 0) {
  }
  // What comes from here on leaves a new byte.
  SignalsSeen seen;
  seen.end = gEnd != 0;
  seen.childEnded = gChildEnded != 0;
  gChildEnded = 0;
  return seen;
}

}  // namespace service
