#include "service/remote/DrawingNews.h"

#include <sys/socket.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <utility>

#include "platform/Programs.h"
#include "platform/System.h"
#include "service/remote/Audit.h"

namespace remote {

void DrawingNews::Start() {
  if (socket_) return;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return;
  platform::UniqueFd mine(ends[0]);
  const platform::UniqueFd theirs(ends[1]);
  const std::string path = std::filesystem::path(platform::ExecutablePath()).parent_path() / "kvdrawn";
  const auto started = platform::BeginProgram({.path = path, .input = theirs.Get(), .output = theirs.Get()});
  if (!started) return;
  program_ = started->pid;
  if (const int error = platform::ProgramOutcome(*started); error != 0) {
    Audit("drawing is not heard of: cannot run %s: %s", path.c_str(), std::strerror(error));
    return Stop();
  }
  socket_ = std::move(mine);
}

void DrawingNews::Stop() {
  socket_.Reset();
  if (program_ < 0) return;
  // It may be waiting for a server that does not answer.
  kill(program_, SIGKILL);
  while (waitpid(program_, nullptr, 0) < 0 && errno == EINTR) {
  }
  program_ = -1;
}

bool DrawingNews::Take() {
  char news[16];
  const ssize_t length = recv(socket_.Get(), news, sizeof news, MSG_DONTWAIT);
  if (length < 0 && (errno == EAGAIN || errno == EINTR)) return false;
  // What is drawn from now on is news again.
  if (length > 0 && send(socket_.Get(), "+", 1, platform::SendFlags()) == 1) return true;
  Stop();
  return false;
}

}  // namespace remote
