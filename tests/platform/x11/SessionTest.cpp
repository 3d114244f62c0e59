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
#include "platform/x11/CallScope.h"
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

TEST(SessionTest, TheDescriptionNamesServerExtensionsAndMonitors) {
  test::XServer server({.width = 1000, .height = 500});
  server.SetMonitors({{"Left", 0, 0, 400, 500}, {"Right", 400, 100, 600, 400}});
  const std::string text = platform::DescribeSession();
  EXPECT_THAT(text, HasSubstr("display " + server.Display() + ": The X.Org Foundation "));
  EXPECT_THAT(
      text,
      HasSubstr("extensions DAMAGE 1.1, XFIXES 5.0, MIT-SHM 1.2 with memory files, RANDR 1.5, XTEST 2.2, "
                "XInputExtension, XKEYBOARD; monitors "));
  EXPECT_THAT(text, HasSubstr("; monitors Left 400x500+0+0 main, Right 600x400+400+100"));
  EXPECT_EQ(text.find('\n'), std::string::npos);
}

TEST(SessionTest, TheDescriptionNamesMissingExtensions) {
  const test::XServer server({.extra = {"-extension", "MIT-SHM", "-extension", "DAMAGE"}});
  const std::string text = platform::DescribeSession();
  EXPECT_THAT(text, HasSubstr("extensions XFIXES"));
  EXPECT_THAT(text, HasSubstr("; missing DAMAGE, MIT-SHM; monitors screen 1280x720+0+0 main"));
}

TEST(SessionTest, TheDescriptionSaysWhyThereIsNoDisplay) {
  struct {
    const char *display, *waylandDisplay, *sessionType, *expected;
  } const rows[] = {
      {nullptr, nullptr, nullptr, "no display: DISPLAY is not set"},
      {"", nullptr, "x11", "no display: DISPLAY is not set"},
      {nullptr, "wayland-0", nullptr, "no display: a Wayland session without an X server"},
      {nullptr, nullptr, "wayland", "no display: a Wayland session without an X server"},
      {":59999", nullptr, nullptr, "no display: display :59999 cannot be reached"},
      {"nonsense", "wayland-0", nullptr, "no display: DISPLAY is \"nonsense\", which names no display"},
  };
  const auto set = [](const char* name, const char* value) {
    return value == nullptr ? unsetenv(name) : setenv(name, value, 1);
  };
  for (const auto& row : rows) {
    set("DISPLAY", row.display);
    set("WAYLAND_DISPLAY", row.waylandDisplay);
    set("XDG_SESSION_TYPE", row.sessionType);
    EXPECT_EQ(platform::DescribeSession(), row.expected) << &row - rows;
  }
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

TEST(SessionTest, TheLossOfTheServerIsSaidOnceAndFailsEveryCall) {
  test::XServer server;
  const CGDirectDisplayID display = CGMainDisplayID();
  ASSERT_TRUE(test::Capture(display, 0, 0, 10, 10));
  ASSERT_EQ(CGRegisterScreenRefreshCallback(OnRefresh, nullptr), kCGErrorSuccess);
  testing::internal::CaptureStderr();
  server.Kill();

  uint32_t count = 0;
  EXPECT_TRUE(
      test::WaitFor([&] { return CGGetActiveDisplayList(4, nullptr, &count) == kCGErrorCannotComplete; }));
  test::ExpectNoServer(display);
  std::thread([display] { EXPECT_FALSE(test::Capture(display, 0, 0, 10, 10)); }).join();
  CGUnregisterScreenRefreshCallback(OnRefresh, nullptr);
  EXPECT_EQ(platform::DescribeSession(),
            "no display: the X server of display " + server.Display() + " has gone away");

  const std::string log = testing::internal::GetCapturedStderr();
  const std::string line =
      "the X server of display " + server.Display() + " has gone away: the session is over";
  const size_t first = log.find(line);
  ASSERT_NE(first, std::string::npos) << log;
  EXPECT_EQ(log.find("gone away", first + line.size()), std::string::npos) << log;
}

TEST(SessionTest, AWriteToALostServerEndsNeitherTheProcessNorLeavesItsSignal) {
  test::XServer server;
  const CGDirectDisplayID display = CGMainDisplayID();
  ASSERT_TRUE(test::Capture(display, 0, 0, 10, 10));
  std::signal(SIGPIPE, SIG_DFL);
  server.Kill();
  {
    const platform::x11::CallScope scope;
    raise(SIGPIPE);  // as the kernel does when the server goes away between XCB's look at the socket and its
                     // write
    EXPECT_FALSE(test::Capture(display, 0, 0, 10, 10));
  }
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
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
