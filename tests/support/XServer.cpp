#include "tests/support/XServer.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "platform/Handles.h"
#include "tests/support/ChildProcess.h"

namespace test {
namespace {

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
  pid_ = Spawn(command, {.input = "/dev/null", .error = "/dev/null"});
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
void XServer::Freeze() const { Signal(SIGSTOP); }
void XServer::Thaw() const { Signal(SIGCONT); }

// Numbers below 1 would reach whole groups of processes.
void XServer::Signal(int signal) const {
  if (pid_ > 0) kill(pid_, signal);
}

int XServer::Run(const std::vector<std::string>& command) const { return WaitForChild(Spawn(command)); }

void XServer::SetMonitors(const std::vector<Monitor>& monitors) {
  const auto run = [this](const std::vector<std::string>& command) {
    if (Run(command) != 0) throw std::runtime_error(command[1] + " failed for " + command[2]);
  };
  for (const Monitor& monitor : monitors_)
    run({"xrandr", "--delmonitor", monitor.name.substr(monitor.name[0] == '*' ? 1 : 0)});
  monitors_.clear();
  for (const Monitor& monitor : monitors) {
    std::ostringstream geometry;
    geometry << monitor.width << "/1x" << monitor.height << "/1+" << monitor.x << "+" << monitor.y;
    // The output goes to the first one, in place of the server's own monitor.
    run({"xrandr", "--setmonitor", monitor.name, geometry.str(), monitors_.empty() ? "screen" : "none"});
    monitors_.push_back(monitor);
  }
}

void XServer::End(int signal) {
  if (pid_ <= 0) return;
  Signal(signal);
  Thaw();  // a frozen server has to wake up in order to end
  WaitForChild(pid_);
  pid_ = -1;
}

}  // namespace test
