// How the process ends: whoever asks for it, its exit handlers run once.
#include "platform/linux/Ending.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/System.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/WaitFor.h"

namespace {

bool EndingIsReadable() {
  pollfd ending{platform::EndingFd(), POLLIN, 0};
  return poll(&ending, 1, 0) == 1 && (ending.revents & POLLIN) != 0;
}

void Note(const char* text) { EXPECT_EQ(write(STDERR_FILENO, text, 1), 1); }

// Every thread of the process but the calling one sleeps.
bool OthersSleep() {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == std::to_string(gettid())) continue;
    std::ifstream file(task.path() / "stat");
    std::string line;
    std::getline(file, line);
    if (line.find(") S ") == std::string::npos) return false;
  }
  return true;
}

std::atomic<int> asking = 0;

TEST(EndingTest, OfManyThreadsOneRunsTheHandlersAndTheOthersWait) {
  constexpr int kThreads = 4;
  const test::ChildResult result = test::RunInChild([] {
    std::atexit([] { Note("b"); });
    std::atexit([] {
      Note("(");
      if (test::WaitFor([] { return asking == kThreads && OthersSleep(); })) Note(")");
    });
    std::vector<std::thread> threads;
    for (int status = 1; status <= kThreads; ++status)
      threads.emplace_back([status] {
        ++asking;
        platform::Exit(status);
      });
    for (std::thread& thread : threads) thread.join();  // never comes back
  });
  EXPECT_EQ(result.errors, "()b");
  EXPECT_GE(result.status, 1);
  EXPECT_LE(result.status, kThreads);
}

TEST(EndingTest, AHandlerThatAsksForTheEndDoesNotKeepTheOthersFromRunning) {
  const test::ChildResult result = test::RunInChild([] {
    std::atexit([] { Note("c"); });
    std::atexit([] {
      Note("b");
      platform::Exit(7);
    });
    std::atexit([] { Note("a"); });
    platform::Exit(3);
  });
  EXPECT_EQ(result.errors, "abc");
  EXPECT_EQ(result.status, 7);
}

TEST(EndingTest, WhoWaitsForSomethingElseIsWoken) {
  EXPECT_FALSE(EndingIsReadable());
  const test::ChildResult result = test::RunInChild([] {
    std::atexit([] { Note(EndingIsReadable() ? "y" : "n"); });
    platform::Exit(0);
  });
  EXPECT_EQ(result.errors, "y");
  EXPECT_EQ(result.status, 0);
}

}  // namespace
