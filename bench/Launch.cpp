// How long from a launch request to "started", and how near is that to starting the program oneself?
//
// Ours: KCLaunchAndWait of /bin/true through a kvdispatch of its own: a property list out, two replies back,
// and the program's end. The peer: posix_spawn of the same program and the read of a pipe that ends with it,
// which is how one learns from a bare start that the program has run. Beside both, a call to KCLaunch, which
// comes back as soon as the program was started, and a request that the dispatcher refuses, which costs all
// but the start.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "bench/Rounds.h"
#include "common/KCDispatch.h"
#include "common/KCFolderManager.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/DispatcherProcess.h"

extern char** environ;

namespace {

constexpr int kRounds = 21;
constexpr int kLaunches = 50;  // a round
constexpr int32_t kBadCommand = -3;
constexpr char kProgram[] = "/bin/true";

void Require(bool fine, const char* what) {
  if (fine) return;
  std::fprintf(stderr, "launch: %s failed\n", what);
  std::exit(1);
}

// Until the pipe that the program has for its output ends.
void SpawnAndRead() {
  test::Pipe output;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output.writeEnd.Get(), STDOUT_FILENO);
  char* const argv[] = {const_cast<char*>(kProgram), nullptr};
  pid_t pid = -1;
  Require(posix_spawn(&pid, kProgram, &actions, nullptr, argv, environ) == 0, "posix_spawn");
  posix_spawn_file_actions_destroy(&actions);
  output.writeEnd.Reset();
  char byte = 0;
  Require(read(output.readEnd.Get(), &byte, 1) == 0, "the pipe");
  Require(test::WaitForChild(pid) == 0, kProgram);
}

template <class Launch>
double Round(const Launch& launch) {
  return bench::Microseconds([&] {
           for (int i = 0; i < kLaunches; ++i) launch();
         }) /
         kLaunches;
}

}  // namespace

int main() {
  const test::TemporaryFolder folder;
  SetRootFolder((folder / "agent").c_str());
  const test::DispatcherProcess dispatcher(KVDISPATCH, folder / "agent");
  std::printf("a launch of %s, %d rounds of %d\n", kProgram, kRounds, kLaunches);
  const auto results = bench::Run(
      {{"posix_spawn, pipe to its end", [] { return Round(SpawnAndRead); }},
       {"a request that is refused",
        [] {
          return Round([] { Require(KCLaunch("", kKVLaunchContextUsr) == kBadCommand, "the refusal"); });
        }},
       {"KCLaunch: to \"started\"",
        [] { return Round([] { Require(KCLaunch(kProgram, kKVLaunchContextUsr) == 0, "KCLaunch"); }); }},
       {"KCLaunchAndWait: to the result",
        [] {
          return Round(
              [] { Require(KCLaunchAndWait(kProgram, kKVLaunchContextUsr) == 0, "KCLaunchAndWait"); });
        }}},
      kRounds);
  std::printf("to \"started\" in %.2f times, to the result in %.2f times the bare start's time\n",
              results[2].median / results[0].median, results[3].median / results[0].median);
  return 0;
}
