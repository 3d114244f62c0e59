// The beginning and the end of the tie to the X server.
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <thread>

#include "platform/System.h"
#include "platform/x11/CallScope.h"
#include "tests/platform/x11/Pictures.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XServer.h"

namespace {

using testing::HasSubstr;

void OnRefresh(uint32_t, const CGRect*, void*) {}

// The exit status of a child process; -1 when it did not end by itself in time.
int StatusOf(pid_t child) {
  int status = 0;
  const bool ended = test::WaitFor([&] { return waitpid(child, &status, WNOHANG) == child; });
  if (!ended) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }
  return ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs `body` in a child process, with standard error in a pipe whose reading end is `log`.
template <class Body>
pid_t StartChild(platform::UniqueFd& log, Body body) {
  int ends[2] = {-1, -1};
  EXPECT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDERR_FILENO);
    body();
    _exit(99);
  }
  close(ends[1]);
  log.Reset(ends[0]);
  return child;
}

std::string ReadAll(int fd) {
  std::string text;
  char buffer[512];
  for (ssize_t got = 0; (got = read(fd, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<size_t>(got));
  return text;
}

void RunApplication() {
  const char* arguments[] = {"application", nullptr};
  NSApplicationMain(1, arguments);
}

TEST(SessionTest, TheDescriptionNamesServerExtensionsAndMonitors) {
  const test::XServer server({.width = 1000, .height = 500});
  ASSERT_EQ(server.Run({"xrandr", "--setmonitor", "Left", "400/1x500/1+0+0", "screen"}), 0);
  ASSERT_EQ(server.Run({"xrandr", "--setmonitor", "Right", "600/1x400/1+400+100", "none"}), 0);
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
    EXPECT_EQ(platform::DescribeSession(), row.expected);
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

  uint32_t count = 5;
  EXPECT_TRUE(
      test::WaitFor([&] { return CGGetActiveDisplayList(4, nullptr, &count) == kCGErrorCannotComplete; }));
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(CGGetDisplaysWithRect(CGRectMake(0, 0, 1, 1), 4, nullptr, &count), kCGErrorCannotComplete);
  EXPECT_FALSE(test::Capture(display, 0, 0, 10, 10));
  std::thread([display] { EXPECT_FALSE(test::Capture(display, 0, 0, 10, 10)); }).join();
  EXPECT_EQ(CGRegisterScreenRefreshCallback(OnRefresh, &count), kCGErrorCannotComplete);
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
  platform::UniqueFd log;
  const pid_t child = StartChild(log, [] {
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    unsetenv("XDG_SESSION_TYPE");
    RunApplication();
  });
  EXPECT_EQ(StatusOf(child), 1);
  EXPECT_THAT(ReadAll(log.Get()), HasSubstr("no display: DISPLAY is not set"));
}

TEST(SessionTest, AnIdleApplicationEndsWithStatus1WhenTheServerGoesAway) {
  test::XServer server;
  int running[2] = {-1, -1};
  ASSERT_EQ(pipe(running), 0);
  platform::UniqueFd log;
  const pid_t child = StartChild(log, [&running] {
    g_idle_add(
        [](void* fd) -> gboolean {
          (void)!write(*static_cast<int*>(fd), "r", 1);
          return G_SOURCE_REMOVE;
        },
        &running[1]);
    RunApplication();
  });
  char go = 0;
  ASSERT_EQ(read(running[0], &go, 1), 1);
  server.Kill();
  EXPECT_EQ(StatusOf(child), 1);
  EXPECT_THAT(ReadAll(log.Get()), HasSubstr("has gone away: the session is over"));
}

std::atomic<bool> gStop{false};
std::thread* gCapturer = nullptr;

// Ends while another thread waits in a capture that the server does not answer, and while the exit handler
// waits for that thread.
TEST(SessionTest, AServerThatStopsAnsweringDoesNotHoldUpTheEnd) {
  test::XServer server;
  int captured[2] = {-1, -1};
  int frozen[2] = {-1, -1};
  ASSERT_EQ(pipe(captured), 0);
  ASSERT_EQ(pipe(frozen), 0);
  platform::UniqueFd log;
  const pid_t child = StartChild(log, [&] {
    CGRegisterScreenRefreshCallback(OnRefresh, nullptr);
    std::atexit([] {
      gStop = true;
      gCapturer->join();
      CGUnregisterScreenRefreshCallback(OnRefresh, nullptr);
      if (test::Capture(1, 0, 0, 10, 10)) _exit(98);
    });
    std::thread capturer([&captured] {
      const test::Image first = test::Capture(CGMainDisplayID(), 0, 0, 10, 10);
      if (first) (void)!write(captured[1], "c", 1);
      while (!gStop) (void)test::Capture(1, 0, 0, 1000, 700);
    });
    gCapturer = &capturer;
    std::thread([&frozen] {
      char go = 0;
      (void)!read(frozen[0], &go, 1);
      platform::Exit(3);
    }).detach();
    RunApplication();
  });
  char go = 0;
  ASSERT_EQ(read(captured[0], &go, 1), 1);
  server.Freeze();
  ASSERT_EQ(write(frozen[1], "f", 1), 1);
  EXPECT_EQ(StatusOf(child), 3);
}

}  // namespace
