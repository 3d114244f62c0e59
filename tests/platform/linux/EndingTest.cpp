// How the process ends: whoever asks for it, its exit handlers run once.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "platform/System.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace {

void Note(const char* text) { EXPECT_EQ(write(STDERR_FILENO, text, 1), 1); }

constexpr int kThreads = 4;
std::atomic<pid_t> asking[kThreads];

// All have asked for the end, and all but the calling one sleep.
bool OthersWait() {
  for (const pid_t thread : asking) {
    if (thread == 0) return false;
    const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
    if (thread != gettid() && test::FileText(path).find(") S ") == std::string::npos) return false;
  }
  return true;
}

TEST(EndingTest, OfManyThreadsOneRunsTheHandlersAndTheOthersWait) {
  const test::ChildResult result = test::RunInChild([] {
    std::atexit([] { Note("b"); });
    std::atexit([] { Note(test::WaitFor(OthersWait) ? "a" : "?"); });
    std::vector<std::thread> threads;
    for (int status = 1; status <= kThreads; ++status)
      threads.emplace_back([status] {
        asking[status - 1] = gettid();
        platform::Exit(status);
      });
    for (std::thread& thread : threads) thread.join();  // never comes back
  });
  EXPECT_EQ(result.errors, "ab");
  EXPECT_TRUE(result.status >= 1 && result.status <= kThreads) << result.status;
}

}  // namespace
