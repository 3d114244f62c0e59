// A real X server of a test's own, without a screen: Xvfb, or Xvnc where outputs must come and go.
#pragma once
#include <csignal>
#include <string>
#include <vector>

namespace test {

struct XServerOptions {
  enum class Kind { kXvfb, kXvnc };
  Kind kind = Kind::kXvfb;
  int width = 1280;
  int height = 720;
  int depth = 24;
  std::vector<std::string> extra = {};  // further arguments, as in {"-extension", "MIT-SHM"}
};

// Starts the server, waits until it is ready and names it in DISPLAY. One server a process: the platform
// layer stays with the first one that it meets. Several tests can run side by side: the server picks a free
// display number.
class XServer {
 public:
  // Throws std::runtime_error when the server cannot be started, which fails the test.
  explicit XServer(const XServerOptions& options = {});
  ~XServer() { Terminate(); }
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;

  // ":7".
  [[nodiscard]] const std::string& Display() const { return display_; }
  [[nodiscard]] pid_t Pid() const { return pid_; }

  // Ends the server in an orderly way, which the destructor does too; nothing when it has ended.
  void Terminate() { End(SIGTERM); }
  // The server is gone from one moment to the next.
  void Kill() { End(SIGKILL); }
  // The server stops answering and goes on.
  void Freeze() const { Signal(SIGSTOP); }
  void Thaw() const { Signal(SIGCONT); }

  struct Monitor {
    std::string name;  // with a star in front: the primary one
    int x, y, width, height;
  };
  // Divides an Xvfb screen into monitors, in place of those of the call before; none: the server's own one.
  // Throws std::runtime_error.
  void SetMonitors(const std::vector<Monitor>& monitors);

  // Runs an X program on this display, as in {"xrandr", "-s", "640x480"}, and waits for it. What it prints on
  // standard error is the test's own. The exit status, or 128 + the signal that ended it.
  [[nodiscard]] int Run(const std::vector<std::string>& command) const;

 private:
  void Signal(int signal) const;
  void End(int signal);

  pid_t pid_ = -1;
  std::string display_;
  std::vector<Monitor> monitors_;
};

}  // namespace test
