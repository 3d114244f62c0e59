#include "tests/support/ObserverProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "platform/System.h"
#include "tests/support/WaitFor.h"

extern char** environ;

namespace test {

platform::UniqueFd ConnectTo(const std::string& path) {
  sockaddr_storage address{};
  const socklen_t length = platform::MakeLocalAddress(path, address);
  platform::UniqueFd client;
  const bool connected = WaitFor([&] {
    client.Reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return connect(client.Get(), reinterpret_cast<const sockaddr*>(&address), length) == 0;
  });
  if (!connected) client.Reset();
  return client;
}

ObserverProcess::ObserverProcess(const std::string& bundle) {
  namespace fs = std::filesystem;
  fs::create_directories(Temporary());
  fs::create_directories(Root() + "/bin");
  fs::copy(bundle, Root() + "/bin/kvobserve.app", fs::copy_options::recursive);
  setenv("TMPDIR", Temporary().c_str(), 1);
}

ObserverProcess::~ObserverProcess() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

std::string ObserverProcess::Executable() const {
  return Root() + "/bin/kvobserve.app/Contents/MacOS/kvobserve";
}

void ObserverProcess::Start(const std::vector<std::string>& arguments) {
  std::string executable = Executable();
  std::vector<std::string> owned = arguments;
  std::vector<char*> argv{executable.data()};
  for (std::string& argument : owned) argv.push_back(argument.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDERR_FILENO, StandardErrorPath().c_str(),
                                   O_WRONLY | O_CREAT | O_APPEND, S_IRUSR | S_IWUSR);
  const int error = posix_spawn(&pid_, executable.c_str(), &files, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  if (error != 0) {
    pid_ = -1;
    throw std::runtime_error("cannot start " + executable);
  }
}

void ObserverProcess::Signal(int signal) const {
  if (pid_ > 0) kill(pid_, signal);
}

std::optional<int> ObserverProcess::WaitForEnd(std::chrono::milliseconds limit) {
  int status = 0;
  if (pid_ <= 0 || !WaitFor([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }, limit))
    return std::nullopt;
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string ObserverProcess::Log() const { return FileText(Root() + "/Korvane.log"); }

}  // namespace test
