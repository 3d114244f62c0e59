#include "service/remote/EndSignals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <system_error>

namespace remote {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

int gPipe[2] = {-1, -1};  // to the end of the process: a handler may still run

void OnSignal(int) {
  const int error = errno;
  [[maybe_unused]] const ssize_t written = write(gPipe[1], "", 1);
  errno = error;
}

void Handle(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  for (const int signal : kSignals) sigaction(signal, &action, nullptr);
}

}  // namespace

EndSignals::EndSignals() {
  if (pipe2(gPipe, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  CFRunLoopSourceContext context{};
  context.perform = [](void*) { CFRunLoopStop(CFRunLoopGetMain()); };
  source_ = StCFTypeRef<CFRunLoopSourceRef>(CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context));
  CFRunLoopAddSource(CFRunLoopGetMain(), source_, kCFRunLoopDefaultMode);
  thread_ = std::thread([this] { WaitForOne(); });
  Handle(OnSignal);
}

EndSignals::~EndSignals() {
  Handle(SIG_IGN);
  OnSignal(0);
  thread_.join();
  CFRunLoopSourceInvalidate(source_);
}

void EndSignals::WaitForOne() const {
  char byte;
  while (read(gPipe[0], &byte, 1) < 0 && errno == EINTR) {
  }
  CFRunLoopSourceSignal(source_);
  CFRunLoopWakeUp(CFRunLoopGetMain());
}

}  // namespace remote
