#include "rcserv/SharedScreenWorkerApple.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>

#include "rcserv/ScreenResponse.h"
#include "tests/rcserv/ScreenFolder.h"

namespace rcserv {
namespace {

class FakeMonitors : public MonitorConfig {
 public:
  OsMonitors os = {{"A", {MakeLTRB(0, 0, 64, 48), true}}, {"B", {MakeLTRB(-32, 8, 0, 40), false}}};

 protected:
  bool EnumerateOsMonitors(OsMonitors& monitors) override {
    monitors = os;
    return true;
  }
};

// Paints the whole screen with one colour and reports the rectangles that it was given.
class FakeWorker : public SharedScreenWorker {
 public:
  explicit FakeWorker(std::unique_ptr<MonitorConfig> monitors) : SharedScreenWorker(std::move(monitors)) {}

  std::vector<Rect> next;
  uint16_t colour = 0x1234;
  int fullCaptures = 0;

 protected:
  bool CaptureScreen(int32_t x, int32_t y, const Rect& bounds, BitmapT<1>& target, std::deque<Rect>& changed,
                     bool full) override {
    if (full) ++fullCaptures;
    if (full) changed.push_back(Translate(bounds, x, y));
    changed.insert(changed.end(), next.begin(), next.end());
    next.clear();
    for (int row = 0; row < target->height(); ++row) {
      for (int column = 0; column < target->width(); ++column)
        std::memcpy(target->BitsAt(column, row), &colour, sizeof colour);
    }
    return full;  // what is returned for an update has no consequence
  }
};

// Worker and client take turns on one thread.
class SharedScreenWorkerTest : public test::ScreenFolderTest {
 protected:
  void Connect(uint16_t id) {
    id_ = id;
    EXPECT_FALSE(worker_.GrabScreen(0));
    ASSERT_TRUE(client_.Connect(SocketPath()));
  }
  // Asks once; nothing when the client was dropped.
  std::optional<test::ResponseBytes> Ask() {
    client_.Send({static_cast<uint8_t>(id_), static_cast<uint8_t>(id_ >> 8)});
    EXPECT_TRUE(worker_.GrabScreen(0));
    return client_.Receive();
  }
  // The kind of the next answer.
  uint32_t AskKind() { return test::At<uint32_t>(Ask().value(), 0); }

  FakeMonitors* monitors_ = new FakeMonitors;  // the worker's own
  FakeWorker worker_{std::unique_ptr<MonitorConfig>(monitors_)};
  test::RawClient client_;
  uint16_t id_ = 0;
};

TEST_F(SharedScreenWorkerTest, TheFirstAnswerDescribesTheScreen) {
  Connect(0x0102);
  const auto bytes = Ask();
  ASSERT_TRUE(bytes);
  const int32_t expected[] = {0, 0x01020001, 96, 48, 192, -32, 0, 2};
  for (size_t i = 0; i < std::size(expected); ++i)
    EXPECT_EQ(test::At<int32_t>(*bytes, 4 * i), expected[i]) << i;
  struct Entry {
    uint32_t id;
    int16_t left, top, right, bottom;
    uint8_t primary;
  };
  const Entry entries[] = {{0, 32, 0, 96, 48, 1}, {1, 0, 8, 32, 40, 0}};
  for (size_t i = 0; i < 2; ++i) {
    const size_t at = 32 + 16 * i;
    EXPECT_EQ(test::At<uint32_t>(*bytes, at), entries[i].id);
    EXPECT_EQ(test::At<int16_t>(*bytes, at + 4), entries[i].left);
    EXPECT_EQ(test::At<int16_t>(*bytes, at + 6), entries[i].top);
    EXPECT_EQ(test::At<int16_t>(*bytes, at + 8), entries[i].right);
    EXPECT_EQ(test::At<int16_t>(*bytes, at + 10), entries[i].bottom);
    EXPECT_EQ((*bytes)[at + 12], entries[i].primary);
  }
  EXPECT_TRUE(std::all_of(bytes->begin() + 64, bytes->end(), [](uint8_t b) { return b == 0; }));

  ASSERT_EQ(ScreenFiles(), std::vector<std::string>{"sfb01020001"});
  std::ifstream file(folder_ / "sfb01020001", std::ios::binary);
  const std::string pixels((std::istreambuf_iterator<char>(file)), {});
  ASSERT_EQ(pixels.size(), 192U * 48);
  EXPECT_EQ(pixels.substr(0, 2), "\x34\x12") << "filled before the client hears of it";
}

TEST_F(SharedScreenWorkerTest, AnUpdateTellsDesktopCoordinatesLimitedTo16Bits) {
  Connect(1);
  EXPECT_EQ(AskKind(), 0U);
  worker_.next = {MakeLTRB(-32, 8, -30, 10), MakeLTRB(-40'000, -32'769, 32'768, 70'000)};
  const auto bytes = Ask();
  ASSERT_TRUE(bytes);
  EXPECT_EQ(test::At<uint32_t>(*bytes, 0), 1U);
  EXPECT_EQ(test::At<uint32_t>(*bytes, 4), 2U);
  const int16_t expected[] = {-32, 8, -30, 10, -32768, -32768, 32767, 32767};
  for (size_t i = 0; i < std::size(expected); ++i)
    EXPECT_EQ(test::At<int16_t>(*bytes, 8 + 2 * i), expected[i]) << i;
  EXPECT_TRUE(std::all_of(bytes->begin() + 24, bytes->end(), [](uint8_t b) { return b == 0; }));

  const auto unchanged = Ask();
  ASSERT_TRUE(unchanged);
  EXPECT_EQ(test::At<uint32_t>(*unchanged, 0), 1U);
  EXPECT_EQ(test::At<uint32_t>(*unchanged, 4), 0U);
}

TEST_F(SharedScreenWorkerTest, ManyRectanglesGoOutAHundredAtATime) {
  Connect(1);
  EXPECT_EQ(AskKind(), 0U);
  for (int16_t i = 0; i < 250; ++i) worker_.next.push_back(MakeXYWH(i, 0, 1, 1));
  int16_t expected = 0;
  for (const uint32_t count : {100, 100, 50, 0}) {
    const auto bytes = Ask();
    ASSERT_TRUE(bytes);
    ASSERT_EQ(test::At<uint32_t>(*bytes, 4), count);
    for (uint32_t i = 0; i < count; ++i) EXPECT_EQ(test::At<int16_t>(*bytes, 8 + 8 * i), expected++);
  }
}

TEST_F(SharedScreenWorkerTest, ADisplayChangeMakesANewScreenWithANewFile) {
  Connect(3);
  EXPECT_EQ(AskKind(), 0U);
  worker_.next.assign(150, MakeXYWH(0, 0, 1, 1));
  EXPECT_EQ(AskKind(), 1U);
  monitors_->os.erase("B");
  SharedScreenWorker::SetDisplayChange();
  SharedScreenWorker::SetDisplayChange();
  const auto bytes = Ask();
  ASSERT_TRUE(bytes);
  EXPECT_EQ(test::At<uint32_t>(*bytes, 0), 0U);
  EXPECT_EQ(test::At<uint32_t>(*bytes, 4), 0x00030002U);
  EXPECT_EQ(test::At<int32_t>(*bytes, 8), 64);
  EXPECT_EQ(ScreenFiles(), std::vector<std::string>{"sfb00030002"});
  const auto update = Ask();
  ASSERT_TRUE(update);
  EXPECT_EQ(test::At<uint32_t>(*update, 4), 0U) << "the old screen's rectangles are gone with it";
}

TEST_F(SharedScreenWorkerTest, ALostClientTakesTheScreenWithItAndTheNextOneGetsItsOwn) {
  Connect(5);
  EXPECT_EQ(AskKind(), 0U);
  EXPECT_FALSE(worker_.GrabScreen(0)) << "silent";
  EXPECT_EQ(ScreenFiles().size(), 1U);
  EXPECT_EQ(AskKind(), 1U) << "silence keeps the screen";
  client_.Close();
  EXPECT_FALSE(worker_.GrabScreen(0));
  EXPECT_TRUE(ScreenFiles().empty());
  Connect(6);
  EXPECT_EQ(AskKind(), 0U);
  EXPECT_EQ(ScreenFiles(), std::vector<std::string>{"sfb00060002"});
  EXPECT_EQ(worker_.fullCaptures, 2);
}

TEST_F(SharedScreenWorkerTest, WithoutMonitorsOrAFileTheClientIsDroppedAndTheNextOneServed) {
  const OsMonitors some = monitors_->os;
  monitors_->os.clear();
  Connect(1);
  client_.Send({1, 0});
  EXPECT_FALSE(worker_.GrabScreen(0));
  EXPECT_FALSE(client_.Receive());

  monitors_->os = {{"A", {MakeLTRB(0, 0, 1 << 20, 1 << 20), true}}};
  Connect(2);
  client_.Send({2, 0});
  EXPECT_FALSE(worker_.GrabScreen(0)) << "2 TiB of pixels";
  EXPECT_FALSE(client_.Receive());
  EXPECT_TRUE(ScreenFiles().empty());

  monitors_->os = some;
  Connect(3);
  EXPECT_EQ(AskKind(), 0U);
}

TEST_F(SharedScreenWorkerTest, AReaderThatTakesTheNameAwayChangesNothing) {
  Connect(1);
  const test::ResponseBytes bytes = Ask().value();
  const auto response = screen_ipc::ParseResponse(std::as_bytes(std::span(bytes)));
  ASSERT_TRUE(std::holds_alternative<screen_ipc::NewScreen>(response));
  const auto reader = screen_ipc::OpenScreen(std::get<screen_ipc::NewScreen>(response));
  ASSERT_TRUE(reader);
  {
    const auto second = screen_ipc::OpenScreen(std::get<screen_ipc::NewScreen>(response));
    ASSERT_TRUE(second);
  }
  EXPECT_TRUE(ScreenFiles().empty());
  worker_.colour = 0x4321;
  EXPECT_EQ(AskKind(), 1U);
  uint16_t pixel = 0;
  std::memcpy(&pixel, reader->BitsAt(95, 47), sizeof pixel);
  EXPECT_EQ(pixel, 0x4321) << "both go on with the same pages";
}

TEST_F(SharedScreenWorkerTest, NoMoreMonitorsAreToldThanFit) {
  monitors_->os.clear();
  for (int i = 0; i < 60; ++i)
    monitors_->os["M" + std::to_string(100 + i)] = {MakeXYWH(i, i == 47 ? 40'000 : 0, 1, 1), i == 0};
  Connect(1);
  const auto bytes = Ask();
  ASSERT_TRUE(bytes);
  EXPECT_EQ(test::At<uint32_t>(*bytes, 28), 48U);
  EXPECT_EQ(test::At<uint32_t>(*bytes, 32 + 47 * 16), 47U);
  EXPECT_EQ(test::At<int16_t>(*bytes, 32 + 47 * 16 + 6), 32767);
  EXPECT_EQ(test::At<int32_t>(*bytes, 804), 0);
}

}  // namespace
}  // namespace rcserv
