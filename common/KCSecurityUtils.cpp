#include "common/KCSecurityUtils.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "common/KCDebugging.h"
#include "platform/Programs.h"
#include "platform/System.h"

int32_t KCExecuteWithPrivileges(const char* path) {
  using namespace std::chrono_literals;
  constexpr int kTries = 60;
  constexpr int32_t kNotRunning = -50;

  platform::ConsoleLog("PDD running %s", path);
  platform::Task task;
  // What could not be started at all will not run in a minute either.
  if (!task.Launch(path)) return kNotRunning;
  for (int tries = 0; !task.IsRunning(); ++tries) {
    if (tries == kTries) return kNotRunning;
    platform::ConsoleLog("PDD waiting for task to start");
    std::this_thread::sleep_for(1s);
  }
  return 0;
}

int32_t KCExecuteCommandlineAsRoot(const char* commandLine) {
  constexpr int32_t kNoCommand = 255;
  if (commandLine == nullptr) return kNoCommand;
  const int result = setreuid(0, 0);
  KCSignalIf(result != 0, "KCExecuteCommandlineAsRoot: setuid(%d) result=%d\n", 0, result);
  const int status = std::system(commandLine);
  return (status >> 8) & 0xFF;
}
