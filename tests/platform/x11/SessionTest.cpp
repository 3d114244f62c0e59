// The beginning and the end of the tie to the X server.
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "platform/System.h"
#include "tests/platform/x11/Pictures.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XServer.h"

namespace {

using testing::HasSubstr;

void OnRefresh(uint32_t, const CGRect*, void*) {}

void RunApplication() {
  const char* arguments[] = {"application", nullptr};
  NSApplicationMain(1, arguments);
}

TEST(SessionTest, TheDescriptionSaysWhyThereIsNoDisplay) {
  unsetenv("DISPLAY");
  setenv("WAYLAND_DISPLAY", "wayland-0", 1);
  EXPECT_EQ(platform::DescribeSession(), "no display: a Wayland session without an X server");
  setenv("DISPLAY", "nonsense", 1);
  EXPECT_EQ(platform::DescribeSession(), "no display: DISPLAY is \"nonsense\", which names no display");
}

TEST(SessionTest, AServerThatDoesNotGreetIsNotWaitedForForever) {
  test::XServer server;
  server.Freeze();
  EXPECT_EQ(platform::DescribeSession(),
            "no display: the X server of display " + server.Display() + " does not answer");
  // The next attempt is a new one as soon as the first has come to its end.
  server.Thaw();
  EXPECT_NE(CGMainDisplayID(), kCGNullDirectDisplay);
}

TEST(SessionTest, TheLossOfTheServerIsSaidAndFailsEveryCall) {
  test::XServer server;
  const CGDirectDisplayID display = CGMainDisplayID();
  ASSERT_TRUE(test::Capture(display, 0, 0, 10, 10));
  ASSERT_NE(CGWindowServerCFMachPort(), nullptr);
  ASSERT_EQ(CGRegisterScreenRefreshCallback(OnRefresh, nullptr), kCGErrorSuccess);
  testing::internal::CaptureStderr();
  server.Kill();

  uint32_t count = 0;
  EXPECT_TRUE(
      test::WaitFor([&] { return CGGetActiveDisplayList(4, nullptr, &count) == kCGErrorCannotComplete; }));
  EXPECT_EQ(CGWindowServerCFMachPort(), nullptr);
  EXPECT_FALSE(test::Capture(display, 0, 0, 10, 10));
  const auto another = reinterpret_cast<void*>(1);
  EXPECT_EQ(CGRegisterScreenRefreshCallback(OnRefresh, another), kCGErrorCannotComplete);
  CGUnregisterScreenRefreshCallback(OnRefresh, nullptr);
  EXPECT_EQ(platform::DescribeSession(),
            "no display: the X server of display " + server.Display() + " has gone away");

  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("has gone away: the session is over"));
}

TEST(SessionTest, AnApplicationWithoutADisplayEndsWithStatus1AndTheReason) {
  const test::ChildResult result = test::RunInChild([] {
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "XDG_SESSION_TYPE"}) unsetenv(name);
    RunApplication();
  });
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors, HasSubstr("no display: DISPLAY is not set"));
}

TEST(SessionTest, AnIdleApplicationEndsWithStatus1WhenTheServerGoesAway) {
  test::XServer server;
  pid_t pid = server.Pid();
  const test::ChildResult result = test::RunInChild([&pid] {
    const GSourceFunc killServer = [](void* victim) -> gboolean {
      kill(*static_cast<pid_t*>(victim), SIGKILL);
      return G_SOURCE_REMOVE;
    };
    g_idle_add(killServer, &pid);
    RunApplication();
  });
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors, HasSubstr("has gone away: the session is over"));
}

std::atomic<bool> gStop{false};
std::thread* gCapturer = nullptr;

// Ends while another thread waits in a capture that the server does not answer, and while the exit handler
// waits for that thread.
TEST(SessionTest, AServerThatStopsAnsweringDoesNotHoldUpTheEnd) {
  test::XServer server;
  const test::ChildResult result = test::RunInChild([&server] {
    CGRegisterScreenRefreshCallback(OnRefresh, nullptr);
    std::atexit([] {
      gStop = true;
      gCapturer->join();
      CGUnregisterScreenRefreshCallback(OnRefresh, nullptr);
      if (test::Capture(1, 0, 0, 10, 10)) _exit(98);
    });
    std::atomic<bool> captured{false};
    std::thread capturer([&captured] {
      while (!gStop) {
        if (test::Capture(CGMainDisplayID(), 0, 0, 1000, 700)) captured = true;
      }
    });
    gCapturer = &capturer;
    std::thread([&server, &captured] {
      if (!test::WaitFor([&captured] { return captured.load(); })) _exit(97);
      server.Freeze();
      platform::Exit(3);
    }).detach();
    RunApplication();
  });
  EXPECT_EQ(result.status, 3);
}

}  // namespace
