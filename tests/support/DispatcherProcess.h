// A real process dispatcher, run from a copy of the program: root folder, endpoints and log are a test's own.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/TemporaryFolder.h"

namespace test {

// The login name of this process's user.
[[nodiscard]] std::string OwnUserName();

// FOLDER/bin/kvdispatch. Its user at the console is this process's own unless the arguments say otherwise. As
// root it leaves its secret in the machine's own place, and the folders that were not there are removed
// again: such tests run one at a time.
class DispatcherProcess {
 public:
  // `program` as it was built, copied into the installation at `root`, whose folders are made. Throws when
  // that fails, or when the dispatcher does not listen soon.
  DispatcherProcess(const std::string& program, std::string root,
                    const std::vector<std::string>& arguments = {"--user", OwnUserName()});
  ~DispatcherProcess();
  DispatcherProcess(const DispatcherProcess&) = delete;
  DispatcherProcess& operator=(const DispatcherProcess&) = delete;

  [[nodiscard]] pid_t Pid() const { return pid_; }
  [[nodiscard]] std::string Program() const { return root_ + "/bin/kvdispatch"; }
  [[nodiscard]] std::string Socket(const std::string& context) const {
    return root_ + "/tmp/socket/" + context;
  }
  [[nodiscard]] std::string Log() const { return FileText(root_ + "/Korvane.log"); }

  // Ends it in an orderly way; the exit status, or 128 + the signal that ended it.
  int End();

 private:
  const std::string root_;
  std::vector<std::string> foldersMade_;  // outermost first
  pid_t pid_ = -1;
};

}  // namespace test
