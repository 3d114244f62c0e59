// Other processes of a test: a piece of code in one of its own, and programs that wait to be looked at.
#pragma once
#include <functional>
#include <string>
#include <vector>

#include "platform/Handles.h"

namespace test {

// Both ends are closed when another program starts.
struct Pipe {
  // Throws std::runtime_error.
  Pipe();
  platform::UniqueFd readEnd, writeEnd;
};

struct ChildResult {
  int status = 0;      // the exit status, or 128 + the signal that ended it
  std::string errors;  // all of its standard error
};

// Runs `body` in a forked process, which then ends with status 0 and without its exit handlers. Called before
// the test has started threads.
ChildResult RunInChild(const std::function<void()>& body);

// Files that a program gets as its standard ones, the written ones appended to; empty: this process's own.
struct StandardFiles {
  std::string input = {}, error = {};
};

// Starts a program, looked up in PATH, with no signal blocked or ignored, whatever the test did to its own.
// Throws std::runtime_error.
pid_t Spawn(const std::vector<std::string>& command, const StandardFiles& files = {});

// Waits for a child of this process. Its exit status, or 128 + the signal that ended it.
int WaitForChild(pid_t pid);

// A program that runs until its end is asked for: /bin/cat, which reads a pipe that nobody writes to, or a
// copy of it.
class WaitingProgram {
 public:
  // Starts `command` and waits until the kernel shows it under the new name. Throws std::runtime_error.
  explicit WaitingProgram(const std::vector<std::string>& command);
  ~WaitingProgram();

  [[nodiscard]] pid_t Pid() const { return pid_; }
  // Waits for its end: then there is no process of that number any more. The exit status, or 128 + the
  // signal.
  int Wait();
  // Kills it first.
  int End();

 private:
  pid_t pid_ = -1;
  Pipe input_;
};

}  // namespace test
