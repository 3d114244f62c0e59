#include "service/remote/TileLink.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>

// Some versions of this header forget that C++ programs include it.
extern "C" {
#include <sys/pidfd.h>
}

#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include "common/KCFolderManager.h"
#include "platform/Programs.h"
#include "service/remote/Audit.h"

namespace remote {
namespace {

constexpr int kEndLimitMs = 3000;

}  // namespace

TileLink::TileLink(std::string executable, TileScreen& screen)
    : executable_(std::move(executable)), screen_(screen) {}

bool TileLink::Start() {
  const auto program = platform::BeginProgram({.path = executable_, .arguments = {"-legacy"}});
  if (!program) {
    Audit("%s cannot be started: no room for a process", executable_.c_str());
    return false;
  }
  pid_ = program->pid;
  process_.Reset(pidfd_open(pid_, 0));
  if (const int error = platform::ProgramOutcome(*program); error != 0) {
    Audit("%s cannot be started: %s", executable_.c_str(), std::strerror(error));
    EndProcess();
    return false;
  }
  screen_.Expect(platform::UniqueFd(fcntl(process_.Get(), F_DUPFD_CLOEXEC, 0)));
  return client_.start(FetchFolder(kFolderObserveEndpoint));
}

bool TileLink::Restart() {
  client_.stop();
  EndProcess();
  return Start();
}

void TileLink::StartView(const CommandRecord& settings) {
  CommandRecord start = settings;
  start.bytes[0] = CMD_VIEW_START;
  Send(start);
}

void TileLink::Send(const CommandRecord& record) { client_.TransferData(record.bytes.data(), record.length); }

void TileLink::End() {
  Send(MakeEndRecord());
  client_.stop();
  EndProcess();
}

void TileLink::EndProcess() {
  if (pid_ < 0) return;
  kill(pid_, SIGTERM);
  pollfd entry{process_.Get(), POLLIN, 0};
  int ready = 0;
  do {
    ready = poll(&entry, 1, kEndLimitMs);
  } while (ready < 0 && errno == EINTR);
  if (ready != 1) kill(pid_, SIGKILL);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  process_.Reset();
}

}  // namespace remote
