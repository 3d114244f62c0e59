#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/support/WaitFor.h"

extern char** environ;

namespace test {

namespace {

struct Pipe {
  int readEnd;
  int writeEnd;
};

Pipe MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
  return {ends[0], ends[1]};
}

std::string ReadAll(int fd) {
  std::string all;
  std::array<char, 4096> part;
  for (ssize_t count = 0; (count = read(fd, part.data(), part.size())) > 0;)
    all.append(part.data(), static_cast<size_t>(count));
  return all;
}

std::string KernelName(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

}  // namespace

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
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
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
  const Pipe errors = MakePipe();
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("cannot fork");
  if (pid == 0) {
    dup2(errors.writeEnd, STDERR_FILENO);
    body();
    _exit(0);
  }
  close(errors.writeEnd);
  ChildResult result;
  result.errors = ReadAll(errors.readEnd);
  close(errors.readEnd);
  result.status = WaitForChild(pid);
  return result;
}

WaitingProgram::WaitingProgram(const std::vector<std::string>& command) {
  const Pipe input = MakePipe();
  input_ = input.writeEnd;
  pid_ = Spawn(command, {.input = "/proc/self/fd/" + std::to_string(input.readEnd)});
  close(input.readEnd);
  // posix_spawn comes back a moment before the kernel sets the new name.
  constexpr size_t kKernelNameSize = 15;
  const std::string name =
      std::filesystem::path(command.front()).filename().string().substr(0, kKernelNameSize);
  if (!WaitFor([&] { return KernelName(pid_) == name; })) {
    End();
    close(input_);
    throw std::runtime_error("the kernel does not show " + command.front());
  }
}

WaitingProgram::~WaitingProgram() {
  if (pid_ > 0) End();
  close(input_);
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
