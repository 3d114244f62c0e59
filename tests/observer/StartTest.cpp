// How an observer starts, and how it refuses to.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "tests/observer/ObserverTest.h"
#include "tests/support/WaitFor.h"

namespace {

// 0 when there is no such file.
ino_t Inode(const std::string& path) {
  struct stat found {};
  return lstat(path.c_str(), &found) == 0 ? found.st_ino : 0;
}

class StartTest : public test::ObserverTest {};

TEST_F(StartTest, AnObserverSaysWhoAndWhereItIs) {
  StartObserver();
  EXPECT_EQ(RecordedPid(), std::to_string(observer_.Pid()));
  struct stat endpoint {};
  ASSERT_EQ(lstat(observer_.EndpointPath().c_str(), &endpoint), 0);
  EXPECT_TRUE(S_ISSOCK(endpoint.st_mode));
  EXPECT_EQ(endpoint.st_mode & 0777U, 0600U);
  EXPECT_FALSE(Exists(observer_.ScreenSocketPath())) << "no view was asked for";
  EXPECT_TRUE(test::WaitFor([&] {
    return Logged("OculonApp: version 10.1.10.480, display " + server_.Display() + ": ") == 1;
  })) << observer_.Log();
  EXPECT_EQ(Logged("Setting root path to  " + observer_.Root()), 1);
}

TEST_F(StartTest, WithoutADisplayItEndsAndSaysWhy) {
  const struct {
    const char* display;  // null: none named
    const char* wayland;
    const char* reason;
  } cases[] = {
      {nullptr, nullptr, "no display: DISPLAY is not set"},
      {nullptr, "wayland-0", "no display: a Wayland session without an X server"},
      {":9999", nullptr, "no display: display :9999 cannot be reached"},
  };
  for (const auto& row : cases) {
    row.display == nullptr ? unsetenv("DISPLAY") : setenv("DISPLAY", row.display, 1);
    row.wayland == nullptr ? unsetenv("WAYLAND_DISPLAY") : setenv("WAYLAND_DISPLAY", row.wayland, 1);
    observer_.Start();
    EXPECT_EQ(observer_.WaitForEnd(), 1) << row.reason;
    EXPECT_EQ(Logged(std::string("OculonApp: version 10.1.10.480, ") + row.reason), 1) << observer_.Log();
    EXPECT_EQ(FilesLeft(), std::vector<std::string>{}) << row.reason;
  }
}

TEST_F(StartTest, WithoutAPlaceForTheEndpointItEndsAndSaysWhy) {
  const std::string file = observer_.Root() + "/file";
  std::ofstream(file).put('x');
  setenv("TMPDIR", (file + "/folder").c_str(), 1);
  observer_.Start();
  EXPECT_EQ(observer_.WaitForEnd(), 1);
  EXPECT_EQ(Logged("RCZmqBrokerServerBase: failed zmq_bind"), 1) << observer_.Log();
  EXPECT_EQ(Logged("OculonApp: version 10.1.10.480, display "), 1);
  EXPECT_EQ(Logged("OculonApp: Oculon failed to run."), 1);
  EXPECT_EQ(PidFiles(), std::vector<std::string>{});
}

TEST_F(StartTest, WhatAKilledOneLeftIsTakenOver) {
  StartObserver();
  StartView();
  ASSERT_TRUE(test::WaitFor([&] { return Exists(observer_.ScreenSocketPath()); }));
  observer_.Signal(SIGKILL);
  ASSERT_EQ(observer_.WaitForEnd(), 128 + SIGKILL);
  ASSERT_NE(RecordedPid(), "");
  ASSERT_TRUE(Exists(observer_.EndpointPath()));
  ASSERT_TRUE(Exists(observer_.ScreenSocketPath()));

  StartObserver();
  EXPECT_EQ(RecordedPid(), std::to_string(observer_.Pid()));
  StartView();
  EXPECT_TRUE(test::WaitFor([&] { return static_cast<bool>(ConnectTo(observer_.ScreenSocketPath())); }));
  observer_.Signal(SIGTERM);
  EXPECT_EQ(observer_.WaitForEnd(), 0);
  EXPECT_EQ(FilesLeft(), std::vector<std::string>{});
}

TEST_F(StartTest, ASecondObserverTakesOverAndTheFirstLeavesItsFiles) {
  StartObserver();
  StartView();
  ASSERT_TRUE(test::WaitFor([&] { return Exists(observer_.ScreenSocketPath()); }));
  const pid_t first = observer_.Pid();
  const ino_t endpoint = Inode(observer_.EndpointPath());

  observer_.Start();
  // The first one still has its own, so the number is not used again.
  ASSERT_TRUE(test::WaitFor([&] {
    const ino_t now = Inode(observer_.EndpointPath());
    return now != 0 && now != endpoint;
  }));
  ASSERT_TRUE(observer_.WaitUntilListening());
  ASSERT_TRUE(client_.start("ipc://" + observer_.EndpointPath()));
  StartView();
  ASSERT_TRUE(test::WaitFor([&] { return Logged("OculonHtml5: Started.") == 2; }));

  kill(first, SIGTERM);
  int status = -1;
  ASSERT_TRUE(test::WaitFor([&] { return waitpid(first, &status, WNOHANG) == first; }));
  EXPECT_EQ(status, 0);
  EXPECT_EQ(RecordedPid(), std::to_string(observer_.Pid()));
  EXPECT_TRUE(Exists(observer_.EndpointPath()));
  EXPECT_TRUE(Exists(observer_.ScreenSocketPath()));
  EndView();

  observer_.Signal(SIGTERM);
  EXPECT_EQ(observer_.WaitForEnd(), 0);
  EXPECT_EQ(FilesLeft(), std::vector<std::string>{});
}

}  // namespace
