// A dark screen and what lights it again, and what else a process that is killed leaves behind.
#include <ApplicationServices/ApplicationServices.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/platform/x11/GammaWitness.h"
#include "tests/platform/x11/InputWitness.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/XServer.h"

namespace {

using test::GammaWitness;
using test::Line;
using test::Ramp;
using testing::Each;

void Fade(float from, float to) {
  CGDisplayFadeReservationToken token = kCGDisplayFadeReservationInvalidToken;
  EXPECT_EQ(CGAcquireDisplayFadeReservation(15, &token), kCGErrorSuccess);
  EXPECT_EQ(CGDisplayFade(token, 0.1F, from, to, 0, 0, 0, true), kCGErrorSuccess);
  EXPECT_EQ(CGReleaseDisplayFadeReservation(token), kCGErrorSuccess);
  EXPECT_EQ(CGDisplayFade(token, 0, from, to, 0, 0, 0, true), kCGErrorIllegalArgument);
}

void KeepDark() {
  EXPECT_EQ(CGSetDisplayTransferByFormula(CGMainDisplayID(), 0, 0, 1, 0, 0, 1, 0, 0, 1), kCGErrorSuccess);
}

TEST(DisplayFadeTest, TheRampsBeforeComeBack) {
  test::XServer server;
  const GammaWitness witness;
  const Ramp nothing(256, 0);
  Ramp zigzag = Line(65535);
  std::swap(zigzag[3], zigzag[200]);
  struct Row {
    const char* what;
    Ramp before, after;
  } const rows[] = {{"a calibrated one", Line(50000), Line(50000)},
                    {"zeros", nothing, Line(65535)},
                    {"what was in memory", zigzag, Line(65535)}};
  for (const auto& [what, before, after] : rows) {
    witness.Write(before);
    Fade(0, 0.5F);
    EXPECT_NEAR(witness.Read()[255], after[255] / 2, 1) << what;
    Fade(0.5F, 1);
    EXPECT_THAT(witness.Read(), Each(0)) << what;
    KeepDark();
    EXPECT_THAT(witness.Read(), Each(0)) << what;
    Fade(1, 0);
    EXPECT_EQ(witness.Read(), after) << what;
    CGDisplayRestoreColorSyncSettings();
    EXPECT_EQ(witness.Read(), after) << what;
  }
  EXPECT_EQ(CGSetDisplayTransferByFormula(77, 0, 0, 1, 0, 0, 1, 0, 0, 1), kCGErrorIllegalArgument);
  EXPECT_EQ(CGSetDisplayTransferByFormula(CGMainDisplayID(), 0, 1, 2, 0, 1, 1, 0, 1, 1), kCGErrorSuccess);
  EXPECT_NEAR(witness.Read()[128], 65535 * 128 / 255 * 128 / 255, 2);
}

TEST(DisplayFadeTest, AServerWithoutRampsSaysSo) {
  test::XServer server({.extra = {"-extension", "RANDR"}});
  CGDisplayFadeReservationToken token = 1;
  EXPECT_EQ(CGAcquireDisplayFadeReservation(15, &token), kCGErrorNoneAvailable);
  EXPECT_EQ(token, kCGDisplayFadeReservationInvalidToken);
  EXPECT_EQ(CGSetDisplayTransferByFormula(CGMainDisplayID(), 0, 0, 1, 0, 0, 1, 0, 0, 1),
            kCGErrorNoneAvailable);
  CGDisplayRestoreColorSyncSettings();
}

TEST(LeftoversTest, TheNextStartEndsWhatAKilledProcessHeldAndNoneBefore) {
  test::XServer server;
  const GammaWitness screen;
  test::InputWitness witness;
  screen.Write(Line(60000));
  constexpr unsigned kUntouched = 0, kHeld = 257;  // the left button and Shift
  const auto another = [] { (void)CGPostMouseEvent({9, 9}, true, 0, false); };

  test::Pipe ready;
  const pid_t killed = fork();
  if (killed == 0) {
    Fade(0, 1);
    KeepDark();
    (void)CGPostMouseEvent({5, 5}, true, 1, true);
    (void)CGPostKeyboardEvent(0, 56, true);
    (void)!write(ready.writeEnd.Get(), "y", 1);
    for (;;) pause();
  }
  char go = 0;
  ASSERT_EQ(read(ready.readEnd.Get(), &go, 1), 1);
  (void)witness.Await([&](const auto&) { return witness.Mask() == kHeld; });
  test::RunInChild(another);
  EXPECT_EQ(witness.Mask(), kHeld);
  EXPECT_THAT(screen.Read(), Each(0));

  ASSERT_EQ(kill(killed, SIGKILL), 0);
  waitpid(killed, nullptr, 0);
  // The server may still be busy with the end of the killed one.
  (void)witness.Await([&](const auto&) {
    test::RunInChild(another);
    return witness.Mask() == kUntouched;
  });
  EXPECT_EQ(witness.Mask(), kUntouched);
  EXPECT_EQ(screen.Read(), Line(60000));
}

}  // namespace
