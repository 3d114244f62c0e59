#include "rcserv/SharedScreenWorkerApple.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rcserv/ScreenFolder.h"

namespace rcserv {
namespace {

using test::Pair;
using test::Response;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

class FakeMonitors : public MonitorConfig {
 public:
  OsMonitors os = {{"A", {MakeLTRB(0, 0, 64, 48), true}}, {"B", {MakeLTRB(-32, 8, 0, 40), false}}};

 protected:
  bool EnumerateOsMonitors(OsMonitors& monitors) override {
    monitors = os;
    return true;
  }
};

// Paints nothing, and reports the rectangles that it was given.
class FakeWorker : public SharedScreenWorker {
 public:
  explicit FakeWorker(std::unique_ptr<MonitorConfig> monitors) : SharedScreenWorker(std::move(monitors)) {}

  std::vector<Rect> next;

 protected:
  bool CaptureScreen(int32_t x, int32_t y, const Rect& bounds, BitmapT<1>&, std::deque<Rect>& changed,
                     bool full) override {
    if (full) changed.push_back(Translate(bounds, x, y));
    changed.insert(changed.end(), next.begin(), next.end());
    next.clear();
    return full;  // what is returned for an update has no consequence
  }
};

// Worker and client take turns on one thread.
class SharedScreenWorkerTest : public test::ScreenFolderTest {
 protected:
  void Connect(uint8_t id) {
    id_ = id;
    EXPECT_FALSE(worker_.GrabScreen(0));
    ASSERT_TRUE(client_.Connect(SocketPath()));
  }
  test::Words Ask() {
    client_.Send({id_, 1});
    EXPECT_TRUE(worker_.GrabScreen(0));
    return client_.Receive();
  }
  // The first two words of the next answer: its kind, and the screen's identifier or the number of
  // rectangles.
  std::pair<int, int> AskKind() {
    const test::Words answer = Ask();
    return answer.empty() ? std::pair(-1, -1) : std::pair(answer[0], answer[1]);
  }

  FakeMonitors* monitors_ = new FakeMonitors;  // the worker's own
  FakeWorker worker_{std::unique_ptr<MonitorConfig>(monitors_)};
  test::RawClient client_;
  uint8_t id_ = 0;
};

TEST_F(SharedScreenWorkerTest, TheFirstAnswerDescribesTheScreenAndTheNextOnesItsChanges) {
  Connect(2);
  EXPECT_THAT(Ask(), ElementsAreArray(Response({0, 0x01020001, 96, 48, 192, -32, 0, 2,  //
                                                0, Pair(32, 0), Pair(96, 48), 1,        //
                                                1, Pair(0, 8), Pair(32, 40), 0})));
  EXPECT_THAT(ScreenFiles(), ElementsAre("sfb01020001"));
  worker_.next = {MakeLTRB(-32, 8, -30, 10), MakeLTRB(-40'000, -32'769, 32'768, 70'000)};
  EXPECT_THAT(Ask(), ElementsAreArray(Response(
                         {1, 2, Pair(-32, 8), Pair(-30, 10), Pair(-32768, -32768), Pair(32767, 32767)})));
}

TEST_F(SharedScreenWorkerTest, ManyRectanglesGoOutAHundredAtATime) {
  Connect(1);
  EXPECT_EQ(AskKind().first, 0);
  for (int i = 0; i < 250; ++i) worker_.next.push_back(MakeXYWH(i, 0, 1, 1));
  int next = 0;
  for (const int count : {100, 100, 50, 0}) {
    test::Words expected = {1, count};
    for (int i = 0; i < count; ++i, ++next)
      expected.insert(expected.end(), {Pair(next, 0), Pair(next + 1, 1)});
    EXPECT_EQ(Ask(), Response(expected)) << "up to " << next;
  }
}

TEST_F(SharedScreenWorkerTest, ADisplayChangeMakesANewScreenWithANewFile) {
  Connect(3);
  EXPECT_EQ(AskKind(), std::pair(0, 0x01030001));
  worker_.next.assign(150, MakeXYWH(0, 0, 1, 1));
  EXPECT_EQ(AskKind(), std::pair(1, 100));
  monitors_->os.erase("B");
  SharedScreenWorker::SetDisplayChange();
  EXPECT_EQ(Ask(), Response({0, 0x01030002, 64, 48, 128, 0, 0, 1, 0, 0, Pair(64, 48), 1}));
  EXPECT_THAT(ScreenFiles(), ElementsAre("sfb01030002"));
  EXPECT_EQ(AskKind(), std::pair(1, 0)) << "the old screen's rectangles are gone with it";
}

TEST_F(SharedScreenWorkerTest, ALostClientTakesTheScreenWithItAndTheNextOneGetsItsOwn) {
  Connect(5);
  EXPECT_EQ(AskKind().first, 0);
  EXPECT_THAT(ScreenFiles(), SizeIs(1));
  client_.Close();
  EXPECT_FALSE(worker_.GrabScreen(0));
  EXPECT_THAT(ScreenFiles(), IsEmpty());
  Connect(6);
  EXPECT_EQ(AskKind(), std::pair(0, 0x01060002));
  EXPECT_THAT(ScreenFiles(), ElementsAre("sfb01060002"));
}

TEST_F(SharedScreenWorkerTest, WithoutMonitorsOrAFileTheClientIsDropped) {
  const std::pair<const char*, OsMonitors> rows[] = {
      {"no monitor", {}}, {"2 TiB of pixels", {{"A", {MakeLTRB(0, 0, 1 << 20, 1 << 20), true}}}}};
  for (const auto& [what, monitors] : rows) {
    monitors_->os = monitors;
    Connect(1);
    client_.Send({1, 0});
    EXPECT_FALSE(worker_.GrabScreen(0)) << what;
    EXPECT_THAT(client_.Receive(), IsEmpty()) << what;
    EXPECT_THAT(ScreenFiles(), IsEmpty()) << what;
  }
}

}  // namespace
}  // namespace rcserv
