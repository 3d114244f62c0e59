#include "bench/Contenders.h"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "bench/SmallestLoop.h"
#include "platform/System.h"
#include "tests/support/WaitFor.h"

namespace bench {
namespace {

[[noreturn]] void GiveUp(const char* reason) {
  std::fprintf(stderr, "%s\n", reason);
  std::exit(1);
}

}  // namespace

bool ScreenSocket::Ask() {
  const uint16_t request = 1;
  if (send(socket_.Get(), &request, sizeof request, MSG_NOSIGNAL) != sizeof request ||
      recv(socket_.Get(), answer_.data(), sizeof answer_, MSG_WAITALL) != sizeof answer_) {
    GiveUp("the screen connection is lost");
  }
  return answer_[0] == 0 || answer_[1] > 0;
}

void ScreenSocket::ReadReady() {
  char ready = 0;
  if (recv(socket_.Get(), &ready, 1, 0) != 1) GiveUp("the smallest loop did not start");
}

SmallestLoopProcess::SmallestLoopProcess() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) GiveUp("no socket pair");
  pid_ = fork();
  if (pid_ == 0) {
    close(ends[0]);
    ServeSmallestLoop(ends[1]);
    _exit(0);
  }
  close(ends[1]);
  screen = ScreenSocket(platform::UniqueFd(ends[0]));
  screen.ReadReady();
}

SmallestLoopProcess::~SmallestLoopProcess() {
  screen = ScreenSocket();
  waitpid(pid_, nullptr, 0);
}

ObservedDesktop::ObservedDesktop() : process_(KVOBSERVE_BUNDLE) {
  process_.Start();
  if (!process_.WaitUntilListening()) GiveUp("the observer does not listen");
  if (!view_.emplace().Start("ipc://" + process_.EndpointPath(), CMD_VIEW_START_HTML5))
    GiveUp("the observer starts no view");
  Connect();
}

ObservedDesktop::~ObservedDesktop() {
  Disconnect();
  view_.reset();
  process_.Signal(SIGTERM);
  (void)process_.WaitForEnd();
}

void ObservedDesktop::Connect() {
  platform::UniqueFd socket;
  const bool connected = test::WaitFor([&] {
    sockaddr_storage address{};
    const socklen_t length = platform::MakeLocalAddress(process_.ScreenSocketPath(), address);
    socket.Reset(::socket(AF_UNIX, SOCK_STREAM, 0));
    return connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), length) == 0;
  });
  if (!connected) GiveUp("the observer shows no screen");
  screen = ScreenSocket(std::move(socket));
}

}  // namespace bench
