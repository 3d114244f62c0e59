#include "tests/support/XServer.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "platform/Handles.h"

namespace test {
namespace {

// The process, or -1. Starts with no signal blocked or ignored, whatever the test did to its own.
pid_t Spawn(const std::vector<std::string>& command, bool quiet) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  if (quiet) posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
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
  const int error = posix_spawnp(&pid, arguments[0], &files, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return error == 0 ? pid : -1;
}

// The exit status; -1 when the process was killed.
int WaitForEnd(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<std::string> CommandLine(const XServerOptions& options, int readyFd) {
  const std::string size = std::to_string(options.width) + "x" + std::to_string(options.height);
  const std::string fd = std::to_string(readyFd);
  std::vector<std::string> command;
  if (options.kind == XServerOptions::Kind::kXvfb) {
    const std::string screen = size + "x" + std::to_string(options.depth);
    command = {"Xvfb", "-displayfd", fd, "-screen", "0", screen, "-nolisten", "tcp", "-noreset"};
  } else {
    const std::string depth = std::to_string(options.depth);
    command = {"Xvnc",           "-displayfd", fd,         "-geometry", size,        "-depth", depth,
               "-SecurityTypes", "None",       "-rfbport", "-1",        "-nolisten", "tcp",    "-noreset"};
  }
  command.insert(command.end(), options.extra.begin(), options.extra.end());
  // A test that is killed takes its server with it.
  command.insert(command.begin(), {"setpriv", "--pdeathsig", "TERM"});
  return command;
}

}  // namespace

XServer::XServer(const XServerOptions& options) {
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) throw std::runtime_error("no pipe for the X server's number");
  const platform::UniqueFd readEnd(ends[0]);
  platform::UniqueFd writeEnd(ends[1]);
  fcntl(readEnd.Get(), F_SETFD, FD_CLOEXEC);
  const std::vector<std::string> command = CommandLine(options, writeEnd.Get());
  pid_ = Spawn(command, true);
  writeEnd.Reset();  // so that read() ends when the server ends
  std::string number;
  char digit = 0;
  while (read(readEnd.Get(), &digit, 1) == 1 && digit != '\n') number += digit;
  if (number.empty()) {
    End(SIGKILL);
    throw std::runtime_error(
        "the X server ended before it was ready: are xvfb and tigervnc-standalone-server installed?");
  }
  display_ = ":" + number;
  setenv("DISPLAY", display_.c_str(), 1);
}

XServer::~XServer() { Terminate(); }

void XServer::Terminate() { End(SIGTERM); }
void XServer::Kill() { End(SIGKILL); }
void XServer::Freeze() const { kill(pid_, SIGSTOP); }
void XServer::Thaw() const { kill(pid_, SIGCONT); }

int XServer::Run(const std::vector<std::string>& command) const {
  const pid_t child = Spawn(command, false);
  return child < 0 ? -1 : WaitForEnd(child);
}

void XServer::End(int signal) {
  if (pid_ <= 0) return;
  kill(pid_, signal);
  kill(pid_, SIGCONT);  // a frozen server has to wake up in order to end
  WaitForEnd(pid_);
  pid_ = -1;
}

}  // namespace test
