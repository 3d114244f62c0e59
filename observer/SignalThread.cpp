#include "observer/SignalThread.h"

#include <csignal>
#include <system_error>
#include <thread>

namespace {

sigset_t Only(int signal) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  return set;
}

[[noreturn]] void Serve(int signal, void (*handler)()) {
  const sigset_t only = Only(signal);
  for (;;) {
    int taken = 0;
    if (sigwait(&only, &taken) == 0) handler();
  }
}

}  // namespace

void HoldSignal(int signal) {
  const sigset_t only = Only(signal);
  pthread_sigmask(SIG_BLOCK, &only, nullptr);
}

bool StartSignalThread(int signal, void (*handler)()) {
  try {
    std::thread(Serve, signal, handler).detach();
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}
