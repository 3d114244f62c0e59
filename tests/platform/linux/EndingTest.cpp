// How the process ends: whoever asks for it, its exit handlers run once.
#include "platform/linux/Ending.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>
#include <vector>

#include "platform/System.h"
#include "tests/support/ChildProcess.h"

namespace {

bool EndingIsReadable() {
  pollfd ending{platform::EndingFd(), POLLIN, 0};
  return poll(&ending, 1, 0) == 1 && (ending.revents & POLLIN) != 0;
}

void Note(const char* text) { EXPECT_EQ(write(STDERR_FILENO, text, 1), 1); }

TEST(EndingTest, TheHandlersRunOnceWhenManyThreadsAskAtOnce) {
  for (int round = 0; round < 6; ++round) {
    const test::ChildResult result = test::RunInChild([] {
      std::atexit([] { Note("h"); });
      std::vector<std::thread> threads;
      for (int status = 1; status <= 4; ++status) threads.emplace_back([status] { platform::Exit(status); });
      for (std::thread& thread : threads) thread.join();  // never comes back
    });
    EXPECT_EQ(result.errors, "h");
    EXPECT_GE(result.status, 1);
    EXPECT_LE(result.status, 4);
  }
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
