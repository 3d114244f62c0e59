// What viewers see, and when they are sent it.
#include "tests/service/remote/SessionTest.h"

namespace {

using PictureTest = test::SessionTest;

TEST_F(PictureTest, TheFirstViewerStartsTheObserverAndSeesTheScreenAsItChanges) {
  client_->FillNoise(0, 0, 1280, 720, 1);
  client_->Sync();
  StartSession();
  EXPECT_EQ(ObserverPid(), 0);
  test::FakeViewer& viewer = NewRunningViewer();
  EXPECT_TRUE(viewer.Said("welcome", "\"viewOnly\":false")) << viewer.Last("welcome");
  EXPECT_EQ(viewer.Width(), 1280);
  EXPECT_TRUE(AwaitPicture(viewer));
  for (uint32_t seed = 2; seed < 8; ++seed) {
    client_->FillNoise(static_cast<int>(seed) * 100, 37, 301, 222, seed);
    client_->Fill(5, static_cast<int>(seed) * 70, 777, 51, 0x123456 * seed);
    client_->Sync();
    EXPECT_TRUE(AwaitPicture(viewer)) << seed;
  }
}

}  // namespace
