// How an observer starts, and how it refuses to.
#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>

#include "tests/observer/ObserverTest.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/WaitFor.h"

namespace {

using StartTest = test::ObserverTest;

TEST_F(StartTest, AnObserverSaysWhoAndWhereItIs) {
  StartObserver();
  EXPECT_EQ(RecordedPid(), std::to_string(observer_.Pid()));
  EXPECT_EQ(test::FilePermissions(observer_.EndpointPath()), 0600U);
  const std::string line = "OculonApp: version 10.1.10.480, display " + server_.Display() + ": ";
  EXPECT_TRUE(test::WaitFor([&] { return Logged(line) == 1; })) << observer_.Log();
  EXPECT_EQ(Logged("Setting root path to  " + observer_.Root()), 1);
}

TEST_F(StartTest, WhenItCannotStartItEndsAndSaysWhy) {
  const std::string version = "OculonApp: version 10.1.10.480, ", display = server_.Display();
  const struct {
    const char* display;  // null: not set
    const char* wayland;
    std::string reason;
  } cases[] = {
      {display.c_str(), nullptr, "RCZmqBrokerServerBase: failed zmq_bind"},
      {nullptr, nullptr, version + "no display: DISPLAY is not set"},
      {nullptr, "wayland-0", version + "no display: a Wayland session without an X server"},
      {":9999", nullptr, version + "no display: display :9999 cannot be reached"},
  };
  setenv("TMPDIR", "/dev/null/folder", 1);
  for (const std::vector<std::string>& arguments : {std::vector<std::string>(), {"-legacy"}}) {
    for (const auto& row : cases) {
      SCOPED_TRACE(row.reason);
      row.display == nullptr ? unsetenv("DISPLAY") : setenv("DISPLAY", row.display, 1);
      row.wayland == nullptr ? unsetenv("WAYLAND_DISPLAY") : setenv("WAYLAND_DISPLAY", row.wayland, 1);
      const int before = Logged(row.reason);
      observer_.Start(arguments);
      ExpectEnd(1);
      EXPECT_EQ(Logged(row.reason), before + 1) << observer_.Log();
    }
  }
  EXPECT_EQ(Logged("RCOculon::Run:: CGWindowServerCFMachPort no window server"), 3) << "-legacy looks itself";
  EXPECT_EQ(Logged("OculonApp: Oculon failed to run."), 8);
}

TEST_F(StartTest, WhatAKilledOneLeftIsTakenOver) {
  StartObserver();
  StartView();
  ASSERT_TRUE(ConnectToScreen());
  observer_.Signal(SIGKILL);
  ASSERT_EQ(observer_.WaitForEnd(), 128 + SIGKILL);
  ASSERT_NE(RecordedPid(), "");

  StartObserver();
  EXPECT_EQ(RecordedPid(), std::to_string(observer_.Pid()));
  StartView();
  EXPECT_TRUE(ConnectToScreen());
  observer_.Signal(SIGTERM);
  ExpectEnd(0);
}

TEST_F(StartTest, ASecondObserverTakesOverAndTheFirstLeavesItsFiles) {
  StartObserver();
  StartView();
  // The client goes at once: then the first one's file is gone when the second makes its own, and its number
  // may be used again.
  ASSERT_TRUE(ConnectToScreen());
  const pid_t first = observer_.Pid();
  observer_.Start();
  // Until then the first one answers, whose view runs already.
  ASSERT_TRUE(test::WaitFor([&] {
    EXPECT_TRUE(client_.start("ipc://" + observer_.EndpointPath()));
    StartView();
    return Logged("OculonHtml5: Started.") == 2;
  }));

  kill(first, SIGTERM);
  EXPECT_EQ(test::WaitForChild(first), 0);
  EXPECT_EQ(RecordedPid(), std::to_string(observer_.Pid()));
  EXPECT_TRUE(observer_.WaitUntilListening());
  EXPECT_TRUE(ConnectToScreen());
  observer_.Signal(SIGTERM);
  ExpectEnd(0);
}

TEST_F(StartTest, AVersionRequestIsAnsweredWithoutADisplay) {
  const std::string full =
      "10\\.1\\.10\\.480\n[^\n]+\n[A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}";
  const std::pair<const char*, std::string> cases[] = {
      {" -v", full},
      {" -v0", "10\\.1\\.10f480"},
      {" -v1", "169509344"},
      {" -v2", "10\\.1\\.10\\.480"},
      {" -version", "10\\.1\\.10f480"},
      {" x - -legacy --version -V -v1 -v2", "169509344"},
  };
  unsetenv("DISPLAY");
  const std::string file = observer_.Temporary() + "/version";
  for (const auto& [arguments, output] : cases) {
    EXPECT_EQ(std::system((observer_.Executable() + arguments + " >" + file).c_str()), 0) << arguments;
    EXPECT_THAT(test::FileText(file), testing::MatchesRegex(output + "\n")) << arguments;
  }
}

}  // namespace
