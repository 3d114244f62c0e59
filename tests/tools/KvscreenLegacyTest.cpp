// kvscreen as a viewer of the tile stream: beside a real observer, and beside one that sends what it is told.
#include <signal.h>

#include <atomic>
#include <regex>

#include "broker/Commands.h"
#include "broker/RCRemoteBroker.h"
#include "broker/RCZmqBroker.h"
#include "legacy/TileMessages.h"
#include "tests/tools/KvscreenTest.h"
#include "tools/ServicePort.h"
#include "tools/TileClient.h"
#include "tools/View.h"

namespace {

using Bytes = std::vector<uint8_t>;

class KvscreenLegacyTest : public KvscreenTest {
 protected:
  // What the log says of views.
  [[nodiscard]] int Times(const std::string& line) const {
    const std::string log = observer_.Log();
    const std::regex text(line);
    return static_cast<int>(std::distance(std::sregex_iterator(log.begin(), log.end(), text), {}));
  }
  [[nodiscard]] bool AllViewsEnd() const {
    return test::WaitFor([&] { return Times("Oculon: Stopped") == Times("Oculon: Started"); });
  }
};

TEST_F(KvscreenLegacyTest, ThePictureIsTheScreenInFifteenBitsAlsoWhereAViewWasLeftBehind) {
  ASSERT_EQ(server_.Run({"xrandr", "--setmonitor", "L", "301/80x500/130+0+0", "screen"}), 0);
  ASSERT_EQ(server_.Run({"xrandr", "--setmonitor", "*R", "399/100x500/130+301+0", "none"}), 0);
  StartObserver({"-legacy"});
  witness_.FillNoise(0, 0, 700, 500, 5);
  witness_.Sync();
  ExpectPicture({"--legacy", "--png", picture_}, 0, 0, 700, 500);
  EXPECT_TRUE(AllViewsEnd());

  // Its view goes on, and has told the desktop already.
  auto killed = RunOnAThread({"--legacy", "--watch"});
  EXPECT_TRUE(test::WaitFor([&] { return Out().find("updates") != std::string::npos; })) << Err();
  kill(std::stoi(test::FileText(folder_ / "pid")), SIGKILL);
  EXPECT_EQ(killed.get(), 128 + SIGKILL);
  ExpectPicture({"--legacy", "--png", picture_}, 0, 0, 700, 500);
  EXPECT_TRUE(AllViewsEnd());
}

TEST_F(KvscreenLegacyTest, ThePictureKeepsUpWithAProgramThatDraws) {
  StartObserver({"-legacy"});
  tools::TileClient client;
  ASSERT_TRUE(client.Start());
  tools::View view;
  ASSERT_TRUE(view.Start("ipc://" + observer_.EndpointPath(), CMD_VIEW_START));
  ASSERT_EQ(client.ForPicture(std::chrono::seconds(20), [] { return false; }),
            tools::TileClient::Wait::kThere);
  for (int i = 0, seen = 0; seen < 50; ++i, seen += client.TakeTraffic().changes.rectangles) {
    ASSERT_LT(i, 100000) << "frames do not come";
    witness_.FillNoise(i * 37 % 650, i * 23 % 420, 50, 80, static_cast<uint32_t>(i));
    witness_.Sync();
  }
  std::vector<uint16_t> expected;
  for (const uint32_t pixel : witness_.Read(0, 0, 700, 500))
    expected.push_back(
        static_cast<uint16_t>((pixel >> 9 & 0x7C00) | (pixel >> 6 & 0x3E0) | (pixel >> 3 & 0x1F)));
  EXPECT_TRUE(test::WaitFor([&] { return client.Picture().Pixels() == expected; })) << client.Error();
}

TEST_F(KvscreenLegacyTest, WatchingCountsFramesUntilItIsInterrupted) {
  StartObserver({"-legacy"});
  auto status = RunOnAThread({"--legacy", "--watch"});
  const std::regex line(R"(updates +(\d+)   rectangles +(\d+)   megapixels +([\d.]+)   kilobytes +([\d.]+))");
  std::smatch found;
  std::string out;
  EXPECT_TRUE(test::WaitFor([&] {
    witness_.Fill(10, 10, 100, 100, static_cast<uint32_t>(out.size()) << 16);
    witness_.Sync();
    out = Out();
    const size_t second = out.find('\n') + 1;  // the first one has the whole screen in it
    return std::regex_search(out.cbegin() + static_cast<ptrdiff_t>(second), out.cend(), found, line) &&
           std::stoi(found[2]) > 0 && std::stoi(found[1]) >= std::stoi(found[2]) && std::stod(found[3]) > 0 &&
           std::stod(found[4]) > 0;
  })) << out
      << Err();
  kill(std::stoi(test::FileText(folder_ / "pid")), SIGINT);
  EXPECT_EQ(status.get(), 0) << Err();
  EXPECT_TRUE(AllViewsEnd());
}

TEST_F(KvscreenLegacyTest, AnotherKindOfObserverAndATakenPortAreSaid) {
  StartObserver();
  EXPECT_EQ(Run({"--legacy", "--png", picture_}), 3);
  EXPECT_NE(Err().find("kvobserve must run with -legacy"), std::string::npos) << Err();
  tools::ServicePort service([](auto) {});
  ASSERT_TRUE(service.Start());
  EXPECT_EQ(Run({"--legacy", "--png", picture_}), 5);
  EXPECT_NE(Err().find("com.korvane.kvremote is taken"), std::string::npos) << Err();
}

// An observer that answers a view start with messages, which are told it before it is started.
class ScriptedObserver : public RCZmqBrokerServerBase {
 public:
  ~ScriptedObserver() override { stop(); }

  void Say(const Bytes& message) { messages_.push_back(message); }
  // Behind the header that observers put in front.
  void SayRecord(std::span<const uint8_t> record) {
    Bytes message = {'R', 'C', 'H', '1', 0, 0, 0, 0, 0, 0, 0, 0};
    message.insert(message.end(), record.begin(), record.end());
    Say(message);
  }
  [[nodiscard]] tiles::Send Sender() {
    return [this](std::span<const uint8_t> record) { SayRecord(record); };
  }
  [[nodiscard]] int Ends() const { return ends_; }

 private:
  CFDataRef ProcessData(int, CFDataRef data) override {
    const auto code = ReadCommandCode(data);
    if (code == CMD_VIEW_END) ++ends_;
    for (const Bytes& message : messages_) {
      if (code == CMD_VIEW_START) service_.TransferData(message.data(), static_cast<long>(message.size()));
    }
    return nullptr;
  }

  std::vector<Bytes> messages_;
  RCRemoteClient service_;
  std::atomic<int> ends_{0};
};

TEST_F(KvscreenLegacyTest, SixBitsOfGreenAreShownAndStrangeMessagesCounted) {
  ScriptedObserver observer;
  tiles::SendDesktop(48, 32, 16, tiles::kPixels565, observer.Sender());
  tiles::SendFrame(0, 0, 31, 31, 1, Bytes{1, 0xF8, 0x00, 0, 8, 2}, observer.Sender());
  for (const Bytes& strange : {Bytes{}, Bytes{7}, Bytes(12, 'R'), Bytes(40, 9)}) observer.Say(strange);
  observer.Say({50, 7, 0, 1, 0, 0, 0});
  observer.SayRecord(Bytes{4, 8, 0, 0, 1, 0, 1, 0});
  tiles::SendFrame(32, 0, 47, 15, 2, Bytes{1, 0x07, 0xE0}, observer.Sender());
  tiles::SendFrame(0, 0, 0, 0, 3, {}, observer.Sender());
  observer.SayRecord(Bytes{0, 8, 0, 0, 0, 0, 0, 0x10});
  ASSERT_TRUE(observer.start("ipc://" + observer_.EndpointPath()));
  ASSERT_EQ(Run({"--legacy", "--png", picture_}), 0) << Err();
  EXPECT_NE(Err().find("no records of an observer: 3"), std::string::npos) << Err();
  EXPECT_EQ(observer.Ends(), 1);
  const test::Picture picture = test::ReadPng(picture_);
  ASSERT_EQ(picture.pixels.size(), 48U * 32);
  for (size_t i = 0; i < picture.pixels.size(); ++i) {
    const bool right = i % 48 >= 32;
    ASSERT_EQ(picture.pixels[i], !right ? 0xFF0000 : i / 48 < 16 ? 0x00FF00U : 0U) << i;
  }
}

TEST_F(KvscreenLegacyTest, AStreamThatMakesNoSenseIsNamed) {
  ScriptedObserver observer;
  tiles::SendDesktop(16, 16, 16, tiles::kPixels555, observer.Sender());
  tiles::SendFrame(0, 0, 15, 15, 1, Bytes{12}, observer.Sender());
  observer.SayRecord(Bytes{0, 8, 0, 0, 0, 0, 0, 0x10});
  ASSERT_TRUE(observer.start("ipc://" + observer_.EndpointPath()));
  EXPECT_EQ(Run({"--legacy", "--png", picture_}), 3);
  EXPECT_NE(Err().find("makes no sense: frame 1: record kind 12 is unknown"), std::string::npos) << Err();
  EXPECT_EQ(observer.Ends(), 1);
  EXPECT_FALSE(std::filesystem::exists(picture_));
}

}  // namespace
