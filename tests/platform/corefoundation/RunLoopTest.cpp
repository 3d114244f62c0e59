// Run loops: which thread has which, and what a stop ends.
#include <CoreFoundation/CoreFoundation.h>
#include <glib.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "tests/support/WaitFor.h"

namespace {

using Work = std::function<void()>;

// Calls `work` once from inside the main loop, which runs the default context.
void OnMainLoop(Work work) {
  g_idle_add_full(
      G_PRIORITY_DEFAULT_IDLE,
      [](void* held) -> gboolean {
        (*static_cast<Work*>(held))();
        return G_SOURCE_REMOVE;
      },
      new Work(std::move(work)), [](void* held) { delete static_cast<Work*>(held); });
}

void StopMain() { CFRunLoopStop(CFRunLoopGetMain()); }

TEST(RunLoopTest, AnotherThreadStopsTheMainLoop) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> running = false;
    StopMain();  // of a loop that does not run: ends nothing
    OnMainLoop([&] { running = true; });
    std::thread stopper([&] {
      EXPECT_TRUE(test::WaitFor([&] { return running.load(); }));
      StopMain();  // once: it is not lost, wherever the loop just is
    });
    CFRunLoopRun();
    EXPECT_TRUE(running);
    stopper.join();
  }
}

TEST(RunLoopTest, AStopEndsTheInnermostActivationOnly) {
  bool outerWentOn = false;
  OnMainLoop([&] {
    OnMainLoop(StopMain);
    CFRunLoopRun();
    OnMainLoop([&] {
      outerWentOn = true;
      StopMain();
    });
  });
  CFRunLoopRun();
  EXPECT_TRUE(outerWentOn);
}

TEST(RunLoopTest, EveryThreadHasALoopOfItsOwn) {
  EXPECT_EQ(CFRunLoopGetCurrent(), CFRunLoopGetMain());
  std::thread([] {
    EXPECT_NE(CFRunLoopGetCurrent(), CFRunLoopGetMain());
    CFRunLoopRun();  // nothing could ever wake it
  }).join();
}

}  // namespace
