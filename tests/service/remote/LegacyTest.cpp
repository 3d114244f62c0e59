// The same session over the observer's tile stream.
#include <csignal>

#include "tests/platform/x11/InputWitness.h"
#include "tests/service/remote/SessionTest.h"

namespace {

using test::FakeViewer;
using LegacyTest = test::SessionTest;

TEST_F(LegacyTest, TheDesktopIsSeenControlledLostAndFoundAgain) {
  StartSession({.legacy = true, .linger = std::chrono::milliseconds(100)});
  FakeViewer& viewer = NewRunningViewer();
  EXPECT_TRUE(AwaitPicture(viewer));
  for (const bool lost : {false, true}) {
    const pid_t observer = ObserverPid();
    if (lost) {
      kill(observer, SIGKILL);
      EXPECT_TRUE(Await([&] { return viewer.Said("state", "restarting"); }));
      EXPECT_TRUE(Await([&] { return viewer.Said("state", "running"); })) << viewer.Last("state");
      EXPECT_NE(ObserverPid(), observer);
    }
    client_->FillNoise(100, 37, 301, 222, static_cast<uint32_t>(observer));
    client_->Fill(5, 70, 777, 51, 0x123456);
    client_->Sync();
    EXPECT_TRUE(AwaitPicture(viewer));
    test::InputWitness witness;
    viewer.Pointer(1 | 8, 300, 45);
    viewer.Key(0x11, true);
    EXPECT_TRUE(Await([&] { return witness.Mask() == 0x404; }));
    EXPECT_TRUE(viewer.Send({5}));
    EXPECT_TRUE(Await([&] { return witness.Mask() == 0; }));
  }
  viewers_.clear();
  EXPECT_TRUE(Await([&] { return ObserverPid() == 0; }));
}

}  // namespace
