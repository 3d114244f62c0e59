// Run loops: which thread has which, and what a stop ends.
#include "platform/corefoundation/RunLoop.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "tests/platform/corefoundation/Support.h"
#include "tests/support/WaitFor.h"

namespace {

// Calls `work` once from inside the main loop.
void OnMainLoop(std::function<void()> work) {
  GSource* const source = g_idle_source_new();
  g_source_set_callback(
      source,
      [](void* held) -> gboolean {
        (*static_cast<std::function<void()>*>(held))();
        return G_SOURCE_REMOVE;
      },
      new std::function<void()>(std::move(work)),
      [](void* held) { delete static_cast<std::function<void()>*>(held); });
  g_source_attach(source, platform::cf::RunLoopContext(CFRunLoopGetMain()));
  g_source_unref(source);
}

void StopMain() { CFRunLoopStop(CFRunLoopGetMain()); }

TEST(RunLoopTest, AnotherThreadStopsTheMainLoop) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> running = false;
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

TEST(RunLoopTest, AStopOfALoopThatDoesNotRunEndsNothing) {
  bool ran = false;
  StopMain();
  OnMainLoop([&] {
    ran = true;
    StopMain();
  });
  CFRunLoopRun();
  EXPECT_TRUE(ran);
}

TEST(RunLoopTest, AStopEndsTheInnermostActivationOnly) {
  bool innerEnded = false;
  bool outerWentOn = false;
  OnMainLoop([&] {
    OnMainLoop(StopMain);
    CFRunLoopRun();
    innerEnded = true;
    OnMainLoop([&] {
      outerWentOn = true;
      StopMain();
    });
  });
  CFRunLoopRun();
  EXPECT_TRUE(innerEnded);
  EXPECT_TRUE(outerWentOn);
}

TEST(RunLoopTest, EveryThreadHasALoopOfItsOwn) {
  const CFRunLoopRef mainLoop = CFRunLoopGetMain();
  EXPECT_EQ(CFRunLoopGetCurrent(), mainLoop);
  CFRunLoopRef other = nullptr;
  std::thread([&] {
    EXPECT_EQ(CFRunLoopGetMain(), mainLoop);
    other = CFRunLoopGetCurrent();
    EXPECT_NE(other, mainLoop);
    EXPECT_EQ(other, CFRunLoopGetCurrent());
    CFRunLoopRun();  // nothing could ever wake it
    CFRetain(other);
  }).join();
  EXPECT_EQ(CFGetRetainCount(other), 1);  // the thread's own reference is gone
  CFRunLoopStop(other);
  CFRelease(other);
}

}  // namespace
