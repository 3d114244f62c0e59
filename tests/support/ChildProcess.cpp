#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

extern char** environ;

namespace test {

namespace {

std::string PathOf(const platform::UniqueFd& fd) { return "/proc/self/fd/" + std::to_string(fd.Get()); }

}  // namespace

Pipe::Pipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
  readEnd.Reset(ends[0]);
  writeEnd.Reset(ends[1]);
}

pid_t Spawn(const std::vector<std::string>& command, const StandardFiles& files) {
  std::vector<char*> argv;
  for (const std::string& argument : command) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (!files.input.empty())
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, files.input.c_str(), O_RDONLY, 0);
  if (!files.error.empty())
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, files.error.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, S_IRUSR | S_IWUSR);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  pid_t pid = -1;
  const int error = posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot start " + command.front());
  return pid;
}

int WaitForChild(pid_t pid) {
  int status = 0;
  if (pid <= 0) throw std::runtime_error("there is no child to wait for");
  while (waitpid(pid, &status, 0) != pid) {
    if (errno != EINTR) throw std::runtime_error("cannot wait for a child");
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

ChildResult RunInChild(const std::function<void()>& body) {
  Pipe errors;
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("cannot fork");
  if (pid == 0) {
    dup2(errors.writeEnd.Get(), STDERR_FILENO);
    body();
    _exit(0);
  }
  errors.writeEnd.Reset();
  std::string said = FileText(PathOf(errors.readEnd));
  return {WaitForChild(pid), std::move(said)};
}

WaitingProgram::WaitingProgram(const std::vector<std::string>& command) {
  pid_ = Spawn(command, {.input = PathOf(input_.readEnd)});
  // posix_spawn comes back a moment before the kernel sets the new name.
  const std::string name = std::filesystem::path(command.front()).filename().string().substr(0, 15) + "\n";
  if (WaitFor([&] { return FileText("/proc/" + std::to_string(pid_) + "/comm") == name; })) return;
  End();
  throw std::runtime_error("the kernel does not show " + command.front());
}

WaitingProgram::~WaitingProgram() {
  if (pid_ > 0) End();
}

int WaitingProgram::Wait() {
  const int status = WaitForChild(pid_);
  pid_ = -1;
  return status;
}

int WaitingProgram::End() {
  // Numbers below 1 would reach whole groups of processes; Wait() then tells that there is no child.
  if (pid_ > 0) kill(pid_, SIGKILL);
  return Wait();
}

}  // namespace test
