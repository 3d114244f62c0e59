#include "tests/support/ObserverProcess.h"

#include <sys/socket.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "platform/System.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/WaitFor.h"

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
  setenv("KORVANE_PORTS_DIR", (folder_ / "ports").c_str(), 1);
  setenv("KORVANE_PREFERENCES_DIR", (folder_ / "preferences").c_str(), 1);
}

ObserverProcess::~ObserverProcess() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void ObserverProcess::Start(const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {Executable()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  pid_ = Spawn(command, {.error = StandardErrorPath()});
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

}  // namespace test
