// What starts and ends with the hooks, and what is reported while they are there.
#include <chrono>
#include <memory>
#include <random>

#include "common/KCPrefsRemote.h"
#include "legacy/RCDisplayManager.h"
#include "tests/input/InputTest.h"
#include "tests/platform/x11/GammaWitness.h"
#include "tests/support/WaitFor.h"

namespace {

using namespace std::chrono_literals;

class HooksTest : public test::InputTest {
 protected:
  // Of a left button, Shift and a letter that the viewer holds.
  void Hold(RCKeyAndMouse& input) {
    Mouse(input, 2, 0, 0);
    Key(input, 0x10, true);
    Key(input, 'A', true);
    EXPECT_EQ(KeysSeen(), "+Shift_L +A");
    EXPECT_EQ(witness_.Mask(), 0x101U);
  }
  [[nodiscard]] bool NothingHeld() {
    return test::WaitFor([&] { return witness_.Mask() == 0; }) && KeysSeen() == "-A -Shift_L";
  }
};

TEST_F(HooksTest, WhatTheViewerHoldsIsReleasedAtEveryEnd) {
  auto input = std::make_unique<RCKeyAndMouse>();
  Start(*input);
  Hold(*input);
  input->StopHID();
  EXPECT_TRUE(NothingHeld()) << "stopped";
  input->StopHID();
  Start(*input);
  Hold(*input);
  input.reset();
  EXPECT_TRUE(NothingHeld()) << "destroyed";

  input = std::make_unique<RCKeyAndMouse>();
  Key(*input, 'A', true);
  Character(*input, 'b', false, true);
  input.reset();
  EXPECT_EQ(KeysSeen(), "+b -b") << "never started: characters alone count";
}

TEST_F(HooksTest, ALockNeedsThePermissionThatHoldsWhenTheViewStarts) {
  RCKeyAndMouse input;
  for (const bool asked : {false, true}) {
    for (const bool allowed : {true, false}) {
      KCPrefsRemote::GetPrefs()->SetLockKeyboardMouse(allowed);
      Start(input, asked);
      EXPECT_EQ(Locked(), asked && allowed);
      input.StopHID();
      EXPECT_FALSE(Locked());
    }
  }
}

TEST_F(HooksTest, WithoutItsServiceTheSessionIsTheLocalUsersUntilItComesBack) {
  const test::GammaWitness screen;
  screen.Write(test::Line(50000));
  const auto become = [&](bool locked, bool dark) {
    return test::WaitFor([&] { return Locked() == locked; }) &&
           test::WaitFor([&] { return screen.Read() == test::Line(dark ? 0 : 50000); });
  };
  RCKeyAndMouse input(100ms);
  // Never connected: hooks without a view.
  Start(input, true, true);
  EXPECT_TRUE(become(false, false));
  for (const bool blank : {true, false}) {
    input.ServiceConnected();
    EXPECT_TRUE(become(true, blank)) << "the settings are still there";
    Hold(input);
    EXPECT_FALSE(test::WaitFor([&] { return witness_.Mask() == 0; }, 300ms)) << "connected";
    input.ServiceDisconnected();
    EXPECT_TRUE(NothingHeld());
    EXPECT_TRUE(become(false, false));
    if (blank) Start(input, true);
  }
  // What comes without a connection lasts no longer.
  Hold(input);
  EXPECT_TRUE(NothingHeld());
}

TEST_F(HooksTest, LocalMovesAreReportedAndInjectedOnesAreNot) {
  test::ServicePort port;
  RCDisplayManager::instance().addDisplay(0, 7, CGRectMake(-100, -50, 1000, 500));
  RCKeyAndMouse input;
  Start(input);
  const auto moveLocally = [](double x, double y) {
    CGPostMouseEvent({x, y}, true, 2, false, static_cast<boolean_t>(false));
  };
  const auto report = [](int x, int y) {
    return std::string("RCH1\0\0\0\0\0\0\0\0\4\10\0\0", 16) +
           std::string{static_cast<char>(x), '\0', static_cast<char>(y), '\0'};
  };
  // The first move that the watcher sees is one of these; from then on it watches.
  double place = 0;
  ASSERT_TRUE(test::WaitFor([&] {
    if (port.Received().empty()) moveLocally(++place / 100, 0);
    return !port.Received().empty();
  }));
  moveLocally(150, 60);
  ASSERT_TRUE(test::WaitFor([&] { return port.Received().back() == report(250, 110); }));

  const size_t reported = port.Received().size();
  for (int round = 0; round < 3; ++round) Mouse(input, 1, 400 + round, 300);
  EXPECT_FALSE(test::WaitFor([&] { return port.Received().size() != reported; }, 800ms));
  moveLocally(100, 50);
  EXPECT_TRUE(test::WaitFor([&] { return port.Received().back() == report(200, 100); }));
  EXPECT_EQ(port.Received().size(), reported + 1);
}

TEST_F(HooksTest, TheServiceIsToldWhichOfItsLayoutsThereIs) {
  test::ServicePort port;
  std::vector<std::string> expected;
  for (const char* layout : {"us", "fr", "de", "jp"}) {
    EXPECT_EQ(server_.Run({"setxkbmap", layout}), 0);
    RCKeyAndMouse::GetSystemKeyboardLayoutType();
    expected.push_back({50, 7, 0, static_cast<char>(expected.size()), 0, 0, 0});
    EXPECT_TRUE(test::WaitFor([&] { return port.Received() == expected; })) << layout;
  }
}

TEST_F(HooksTest, FiftyStartsAndStopsLeaveNothingBehind) {
  test::ServicePort port;
  RCKeyAndMouse input;
  std::minstd_rand random(1);
  for (int round = 0; round < 50; ++round) {
    Start(input);
    for (auto moves = random() % 40; moves > 0; --moves) {
      const auto place = static_cast<int>(random() % 700);
      Mouse(input, 1, place, place);
      CGPostMouseEvent({1.0 * place, 1}, true, 2, false, static_cast<boolean_t>(false));
    }
    input.StopHID();
  }
  CGPostMouseEvent({0, 0}, true, 2, false, static_cast<boolean_t>(false));
  const size_t reported = port.Received().size();
  EXPECT_FALSE(test::WaitFor([&] { return port.Received().size() != reported; }, 300ms));
}

}  // namespace
