// Starting other programs: with whose rights, in which surroundings, and what became of the start.
//
// Any thread. Nothing here throws.
#pragma once
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Handles.h"

namespace platform {

// Whose rights a program has.
struct Identity {
  uid_t user = 0;
  gid_t group = 0;
  std::vector<gid_t> groups;  // all of them
};

struct Account {
  Identity identity;
  std::string name, home, shell;
};

// An account of this machine, with all groups that it is in; nothing when there is none.
std::optional<Account> FindAccount(const std::string& name);
std::optional<Account> FindAccount(uid_t user);

struct ProgramStart {
  std::string path = {};  // absolute
  std::vector<std::string> arguments = {};
  std::optional<std::vector<std::string>> environment = {};  // "NAME=value"; none: this process's own
  std::optional<Identity> identity = {};                     // none: this process's own
  std::string folder = {};  // to work in, else the root folder; empty: this process's
  int input = STDIN_FILENO, output = STDOUT_FILENO, error = STDERR_FILENO;
};

// A program between its start and the moment when it is known whether it runs.
struct StartingProgram {
  pid_t pid = -1;    // a child of this process, which the caller reaps, whatever the outcome
  UniqueFd outcome;  // readable when the outcome is known
};

// Starts a program in a session of its own, with no signal blocked or ignored, the file mode mask 022, and no
// descriptors but the three standard ones. Rights that it is not given it cannot take back. Nothing when
// there is no room for one more process.
std::optional<StartingProgram> BeginProgram(const ProgramStart& start);
// Waits for the outcome: 0, or the errno value of what failed. The program never ran then.
int ProgramOutcome(const StartingProgram& program);

// A program that this process starts and that goes on after it. It is reaped at its end, so that it is no
// live process then.
class Task {
 public:
  // Starts the program at an absolute path, with this process's rights, environment and standard files. False
  // when it cannot be started.
  [[nodiscard]] bool Launch(const std::string& path);
  // It has been started and has not ended.
  [[nodiscard]] bool IsRunning() const { return running_ != nullptr && *running_; }

 private:
  std::shared_ptr<std::atomic<bool>> running_;
};

}  // namespace platform
