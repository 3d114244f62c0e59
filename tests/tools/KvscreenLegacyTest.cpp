// kvscreen as a viewer of the tile stream, beside an observer that sends what it is told.
#include <atomic>

#include "broker/Commands.h"
#include "broker/RCRemoteBroker.h"
#include "broker/RCZmqBroker.h"
#include "legacy/TileMessages.h"
#include "tests/tools/KvscreenTest.h"
#include "tools/ServicePort.h"

namespace {

using Bytes = std::vector<uint8_t>;

class KvscreenLegacyTest : public KvscreenTest {};

TEST_F(KvscreenLegacyTest, AnotherKindOfObserverAndATakenPortAreSaid) {
  StartObserver();
  EXPECT_EQ(Run({"--legacy", "--png", picture_}), 3);
  EXPECT_NE(Err().find("kvobserve must run with -legacy"), std::string::npos) << Err();
  tools::ServicePort service([](auto) {});
  ASSERT_TRUE(service.Start());
  EXPECT_EQ(Run({"--legacy", "--png", picture_}), 5);
  EXPECT_NE(Err().find("com.korvane.kvremote is taken"), std::string::npos) << Err();
}

// An observer that answers a view start with these messages.
class ScriptedObserver : public RCZmqBrokerServerBase {
 public:
  explicit ScriptedObserver(const std::string& endpoint) { EXPECT_TRUE(start(endpoint)); }
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

TEST_F(KvscreenLegacyTest, DisplaysOfTwoSizesAreWaitedForAndStrangeMessagesAreCounted) {
  ScriptedObserver observer("ipc://" + observer_.EndpointPath());
  tiles::SendDesktop(48, 32, 16, tiles::kPixels565, observer.Sender());
  tiles::SendFrame(0, 0, 31, 31, 1, Bytes{1, 0xF8, 0x00, 0, 8, 2}, observer.Sender());
  for (const Bytes& strange : {Bytes{}, Bytes{7}, Bytes(12, 'R'), Bytes(40, 9)}) observer.Say(strange);
  observer.Say({50, 7, 0, 1, 0, 0, 0});
  observer.SayRecord(Bytes{4, 8, 0, 0, 1, 0, 1, 0});
  tiles::SendFrame(32, 0, 47, 15, 2, Bytes{1, 0x07, 0xE0}, observer.Sender());
  tiles::SendFrame(0, 0, 0, 0, 3, {}, observer.Sender());
  observer.SayRecord(Bytes{0, 8, 0, 0, 0, 0, 0, 0x10});
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
  ScriptedObserver observer("ipc://" + observer_.EndpointPath());
  tiles::SendDesktop(16, 16, 16, tiles::kPixels555, observer.Sender());
  tiles::SendFrame(0, 0, 15, 15, 1, Bytes{12}, observer.Sender());
  observer.SayRecord(Bytes{0, 8, 0, 0, 0, 0, 0, 0x10});
  EXPECT_EQ(Run({"--legacy", "--png", picture_}), 3);
  EXPECT_NE(Err().find("makes no sense: frame 1: record kind 12 is unknown"), std::string::npos) << Err();
  EXPECT_EQ(observer.Ends(), 1);
  EXPECT_FALSE(std::filesystem::exists(picture_));
}

}  // namespace
