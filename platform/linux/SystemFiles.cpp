// Where the system describes itself: no version file, and a profiler of our own beside the programs.
#include <string>
#include <utility>

#include "platform/System.h"
#include "platform/ThreadSafety.h"
#include "platform/corefoundation/Bundle.h"

namespace platform {

namespace {

struct State {
  Lock lock;
  SystemFiles files GUARDED_BY(lock);
};

std::string ProfilerOfThisInstallation() {
  const std::string executable = ExecutablePath();
  if (executable.empty()) return {};
  std::string folder = executable.substr(0, executable.rfind('/'));
  const std::string bundle = cf::BundleFolder(executable);
  if (bundle != folder) folder = bundle.substr(0, bundle.rfind('/'));  // the bundle lies beside it
  return folder + "/kvprofiler";
}

// Never destroyed: threads that outlive main() may ask.
State& Shared() {
  static State& state = *new State{{}, {"", "", ProfilerOfThisInstallation()}};
  return state;
}

}  // namespace

SystemFiles GetSystemFiles() {
  State& state = Shared();
  const Locked locked(state.lock);
  return state.files;
}

void SetSystemFiles(SystemFiles files) {
  State& state = Shared();
  const Locked locked(state.lock);
  state.files = std::move(files);
}

}  // namespace platform
