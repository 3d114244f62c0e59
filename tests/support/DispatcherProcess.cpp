#include "tests/support/DispatcherProcess.h"

#include <pwd.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tests/support/ChildProcess.h"
#include "tests/support/ObserverProcess.h"

namespace test {

namespace fs = std::filesystem;

std::string OwnUserName() {
  const passwd* account = getpwuid(geteuid());
  if (account == nullptr) throw std::runtime_error("this user has no account");
  return account->pw_name;
}

DispatcherProcess::DispatcherProcess(const std::string& program, std::string root,
                                     const std::vector<std::string>& arguments)
    : root_(std::move(root)) {
  for (const char* folder :
       {"/usr/local/Korvane", "/usr/local/Korvane/common", "/usr/local/Korvane/common/agentroot",
        "/usr/local/Korvane/common/agentroot/broker"})
    if (!fs::exists(folder)) foldersMade_.emplace_back(folder);
  fs::create_directories(root_ + "/bin");
  fs::copy_file(program, Program(), fs::copy_options::overwrite_existing);
  std::vector<std::string> command = {Program()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  pid_ = Spawn(command, {.error = root_ + "/stderr"});
  // The last of the four that it binds.
  if (ConnectTo(Socket("login"))) return;
  End();
  throw std::runtime_error("kvdispatch does not listen: " + FileText(root_ + "/stderr"));
}

DispatcherProcess::~DispatcherProcess() {
  if (pid_ > 0) End();
  // Those that are not empty are somebody else's by now.
  std::error_code error;
  for (auto folder = foldersMade_.rbegin(); folder != foldersMade_.rend(); ++folder)
    fs::remove(*folder, error);
}

int DispatcherProcess::End() {
  kill(pid_, SIGTERM);
  return WaitForChild(std::exchange(pid_, -1));
}

}  // namespace test
