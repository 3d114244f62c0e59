#include "tests/support/XServer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "tests/support/ChildProcess.h"

namespace test {
namespace {

std::vector<std::string> CommandLine(const XServerOptions& options, int readyFd) {
  const std::string size = std::to_string(options.width) + "x" + std::to_string(options.height);
  const std::string depth = std::to_string(options.depth);
  // A test that is killed takes its server with it.
  std::vector<std::string> command = {"setpriv", "--pdeathsig", "TERM"};
  const auto add = [&command](const std::vector<std::string>& more) {
    command.insert(command.end(), more.begin(), more.end());
  };
  if (options.kind == XServerOptions::Kind::kXvfb)
    add({"Xvfb", "-screen", "0", size + "x" + depth});
  else
    add({"Xvnc", "-geometry", size, "-depth", depth, "-SecurityTypes", "None", "-rfbport", "-1"});
  add({"-displayfd", std::to_string(readyFd), "-nolisten", "tcp", "-noreset"});
  add(options.extra);
  return command;
}

}  // namespace

XServer::XServer(const XServerOptions& options) {
  Pipe ready;
  fcntl(ready.writeEnd.Get(), F_SETFD, 0);  // the server's to write to
  pid_ = Spawn(CommandLine(options, ready.writeEnd.Get()), {.input = "/dev/null", .error = "/dev/null"});
  ready.writeEnd.Reset();  // so that read() ends when the server ends
  std::string number;
  char digit = 0;
  while (read(ready.readEnd.Get(), &digit, 1) == 1 && digit != '\n') number += digit;
  if (number.empty()) {
    End(SIGKILL);
    throw std::runtime_error(
        "the X server ended before it was ready: are xvfb and tigervnc-standalone-server installed?");
  }
  display_ = ":" + number;
  setenv("DISPLAY", display_.c_str(), 1);
}

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
    const auto& [name, x, y, width, height] = monitor;
    const std::string geometry = std::to_string(width) + "/1x" + std::to_string(height) + "/1+" +
                                 std::to_string(x) + "+" + std::to_string(y);
    // The output goes to the first one, in place of the server's own monitor.
    run({"xrandr", "--setmonitor", name, geometry, monitors_.empty() ? "screen" : "none"});
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
