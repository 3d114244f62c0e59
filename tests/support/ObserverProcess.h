// A real observer process, run from a copy of its bundle: root, log, process-ID files and sockets are a
// test's own.
#pragma once
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/TemporaryFolder.h"

namespace test {

// Waits until a local socket of that name can be connected to; none when that does not happen.
[[nodiscard]] platform::UniqueFd ConnectTo(const std::string& path);

// Lays out FOLDER/agent/bin/kvobserve.app and FOLDER/tmp, and names the latter in TMPDIR, also of this
// process, so that clients in it meet the observer; message ports and settings have folders there, too. Does
// not start it.
class ObserverProcess {
 public:
  // `bundle`: the folder kvobserve.app as it was built. Throws when it cannot be copied.
  explicit ObserverProcess(const std::string& bundle);
  // Kills what still runs.
  ~ObserverProcess();

  // Starts it on the display of $DISPLAY; standard error goes to StandardErrorPath(). Throws when it cannot
  // be started.
  void Start(const std::vector<std::string>& arguments = {});
  // Waits until its command endpoint can be connected to.
  [[nodiscard]] bool WaitUntilListening() const { return static_cast<bool>(ConnectTo(EndpointPath())); }

  void Signal(int signal) const;
  // The exit status, or 128 + the signal that ended it; nothing when it still runs after `limit`.
  [[nodiscard]] std::optional<int> WaitForEnd(std::chrono::milliseconds limit = std::chrono::seconds(20));

  [[nodiscard]] pid_t Pid() const { return pid_; }
  [[nodiscard]] std::string Root() const { return folder_ / "agent"; }
  [[nodiscard]] std::string Temporary() const { return folder_ / "tmp"; }
  [[nodiscard]] std::string Executable() const {
    return Root() + "/bin/kvobserve.app/Contents/MacOS/kvobserve";
  }
  [[nodiscard]] std::string EndpointPath() const { return Temporary() + "/observe"; }
  [[nodiscard]] std::string ScreenSocketPath() const { return Temporary() + "/sipc.uds"; }
  [[nodiscard]] std::string StandardErrorPath() const { return folder_ / "stderr"; }
  // The whole log file; empty when there is none.
  [[nodiscard]] std::string Log() const { return FileText(Root() + "/Korvane.log"); }

 private:
  TemporaryFolder folder_;
  pid_t pid_ = -1;
};

}  // namespace test
