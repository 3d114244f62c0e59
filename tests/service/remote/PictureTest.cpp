// What viewers see, and when they are sent it.
#include <algorithm>

#include "tests/service/remote/SessionTest.h"

namespace {

using rcserv::Rect;
using test::FakeViewer;
using PictureTest = test::SessionTest;

bool Touches(const std::vector<FakeViewer::Update>& updates, size_t from, const Rect& area) {
  for (size_t i = from; i < updates.size(); ++i)
    for (const Rect& rect : updates[i].rects)
      if (!Intersect(rect, area).IsEmpty()) return true;
  return false;
}

TEST_F(PictureTest, TheFirstViewerStartsTheObserverAndSeesTheScreenAsItChanges) {
  client_->FillNoise(0, 0, 1280, 720, 1);
  client_->Sync();
  StartSession();
  EXPECT_EQ(ObserverPid(), 0);
  FakeViewer& viewer = NewRunningViewer();
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

TEST_F(PictureTest, AreasTravelInTheFormThatIsCheapestForTheViewer) {
  client_->FillNoise(0, 0, 640, 360, 1);
  // Stripes: of no one colour, and easy to compress.
  for (int x = 640; x < 1280; x += 8) client_->Fill(x, 0, 4, 720, 0xFFFFFF);
  client_->Sync();
  StartSession();
  FakeViewer& near = NewRunningViewer(true);
  FakeViewer& far = NewRunningViewer(false);
  EXPECT_TRUE(AwaitPicture(near));
  EXPECT_TRUE(AwaitPicture(far));
  const struct {
    const FakeViewer& viewer;
    bool compressed;
  } rows[] = {{near, false}, {far, true}};
  for (const auto& row : rows) {
    FakeViewer::Update all;
    for (const auto& update : row.viewer.Updates()) {
      all.anyRaw |= update.anyRaw;
      all.anyOneColour |= update.anyOneColour;
      all.anyCompressed |= update.anyCompressed;
    }
    EXPECT_TRUE(all.anyRaw) << "the noise";
    EXPECT_TRUE(all.anyOneColour) << "the background";
    EXPECT_EQ(all.anyCompressed, row.compressed) << "the stripes";
  }
}

TEST_F(PictureTest, NothingIsSentBeforeTheLastUpdateWasDrawnAndThenAllThatHasChanged) {
  StartSession();
  FakeViewer& slow = NewRunningViewer();
  FakeViewer& quick = NewRunningViewer();
  EXPECT_TRUE(AwaitPicture(slow));
  slow.HoldAnswers(true);
  client_->Fill(0, 0, 100, 100, 0xFF0000);
  client_->Sync();
  ASSERT_TRUE(Await([&] { return slow.HasUndrawn(); }));
  for (uint32_t seed = 1; seed < 5; ++seed) {
    client_->FillNoise(200, 100, 300, 200, seed);
    client_->Sync();
    EXPECT_TRUE(AwaitPicture(quick)) << "who waits for nobody";
  }
  slow.HoldAnswers(false);
  EXPECT_TRUE(AwaitPicture(slow));
}

// A screen of noise takes more than a second.
TEST_F(PictureTest, AThinLinkCarriesSmallUpdatesAndWhatChangesSeldomFirst) {
  StartSession();
  FakeViewer& viewer = NewRunningViewer(false);
  EXPECT_TRUE(AwaitPicture(viewer));
  viewer.SetBytesPerSecond(1'000'000);
  uint32_t seed = 0;
  const auto flicker = [&] {
    client_->FillNoise(0, 0, 1280, 600, ++seed);
    client_->Sync();
  };
  const auto settled = [&] {
    flicker();
    const auto& updates = viewer.Updates();
    return updates.size() > 20 && std::all_of(updates.end() - 5, updates.end(),
                                              [](const auto& update) { return update.bytes < 200'000; });
  };
  EXPECT_TRUE(Await(settled));
  client_->Fill(300, 650, 64, 20, 0x00FF00);
  client_->Sync();
  const size_t before = viewer.Updates().size();
  const Rect seldom = rcserv::MakeXYWH(300, 650, 64, 20);
  EXPECT_TRUE(Await([&] {
    flicker();
    return Touches(viewer.Updates(), before, seldom);
  }));
  size_t bytes = 0;
  for (size_t i = before; i < viewer.Updates().size(); ++i) bytes += viewer.Updates()[i].bytes;
  EXPECT_LT(bytes, 1280U * 600U) << "half of what flickers";
  EXPECT_TRUE(AwaitPicture(viewer));
}

TEST_F(PictureTest, WhatIsPaintedAgainWithTheSamePixelsIsNotSentAgain) {
  const Rect noise = rcserv::MakeXYWH(300, 100, 400, 300);
  client_->FillNoise(noise.left, noise.top, noise.Width(), noise.Height(), 1);
  client_->Sync();
  StartSession();
  FakeViewer& viewer = NewRunningViewer();
  ASSERT_TRUE(AwaitPicture(viewer));
  const size_t before = viewer.Updates().size();
  for (uint32_t colour = 1; colour < 5; ++colour) {
    client_->FillNoise(noise.left, noise.top, noise.Width(), noise.Height(), 1);
    client_->Fill(10, 10, 20, 20, 0x3050F0 * colour);
    client_->Sync();
    EXPECT_TRUE(AwaitPicture(viewer)) << colour;
  }
  EXPECT_FALSE(Touches(viewer.Updates(), before, noise));
}

TEST_F(PictureTest, AViewerOfOneMonitorIsSentNothingOfTheOthers) {
  server_.SetMonitors({{"*left", 0, 0, 640, 720}, {"right", 640, 0, 640, 720}});
  StartSession();
  FakeViewer& viewer = NewRunningViewer();
  ASSERT_TRUE(viewer.Said("screen", "\"right\":1280")) << viewer.Last("screen");
  const auto everything = [&] { return !viewer.HasUndrawn() && viewer.Updates().size() > 1; };
  EXPECT_TRUE(AwaitPicture(viewer));
  EXPECT_TRUE(viewer.Say(R"({"type":"monitor","id":1})"));
  EXPECT_TRUE(Await(everything));
  const Rect left = rcserv::MakeXYWH(0, 0, 640, 720), right = rcserv::MakeXYWH(640, 0, 640, 720);

  const size_t before = viewer.Updates().size();
  client_->FillNoise(600, 100, 80, 80, 1);
  client_->Sync();
  EXPECT_TRUE(Await([&] { return Touches(viewer.Updates(), before, right); }));
  EXPECT_FALSE(Touches(viewer.Updates(), before, left));

  EXPECT_TRUE(viewer.Say(R"({"type":"monitor","id":null})"));
  EXPECT_TRUE(AwaitPicture(viewer));
  const size_t again = viewer.Updates().size();
  EXPECT_TRUE(viewer.Say(R"({"type":"refresh"})"));
  EXPECT_TRUE(Await(
      [&] { return Touches(viewer.Updates(), again, left) && Touches(viewer.Updates(), again, right); }));
}

TEST_F(PictureTest, AScreenOfAnotherSizeTakesThePlaceOfTheOneBefore) {
  StartSession();
  FakeViewer& viewer = NewRunningViewer();
  ASSERT_EQ(server_.Run({"xrandr", "--newmode", "small", "74.5", "640", "641", "642", "643", "480", "481",
                         "482", "483"}),
            0);
  ASSERT_EQ(server_.Run({"xrandr", "--addmode", "screen", "small"}), 0);
  ASSERT_EQ(server_.Run({"xrandr", "--output", "screen", "--mode", "small"}), 0);
  EXPECT_TRUE(Await([&] { return viewer.Width() == 640; }));
  client_ = std::make_unique<test::XClient>();
  EXPECT_TRUE(AwaitPicture(viewer));
}

}  // namespace
