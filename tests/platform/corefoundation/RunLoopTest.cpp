// The main run loop, and what ends it.
#include <CoreFoundation/CoreFoundation.h>
#include <glib.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/WaitFor.h"

namespace {

void StopMain() { CFRunLoopStop(CFRunLoopGetMain()); }

TEST(RunLoopTest, AnotherThreadStopsTheMainLoop) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> running = false;
    StopMain();  // of a loop that does not run: ends nothing
    const GSourceFunc note = [](void* flag) -> gboolean {
      *static_cast<std::atomic<bool>*>(flag) = true;
      return G_SOURCE_REMOVE;
    };
    g_idle_add(note, &running);  // called from inside the loop
    std::thread stopper([&] {
      EXPECT_TRUE(test::WaitFor([&] { return running.load(); }));
      StopMain();  // once: it is not lost, wherever the loop just is
    });
    CFRunLoopRun();
    EXPECT_TRUE(running);
    stopper.join();
  }
}

}  // namespace
