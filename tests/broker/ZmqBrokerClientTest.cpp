// The broker's client end, answered by a plain ZeroMQ socket.
#include <filesystem>
#include <fstream>
#include <future>

#include "broker/RCOculonClient.h"
#include "common/KCFolderManager.h"
#include "tests/broker/BrokerTest.h"

namespace {

using test::Frames;
using test::Id;
using test::MakeData;

// Does not wait twenty seconds for a peer that does not answer.
class Client : public RCZmqBrokerClientBase {
 public:
  void BecomeImpatient() { replyTimeoutMs_ = 500; }
};

class ZmqBrokerClientTest : public test::BrokerTest {
 protected:
  ZmqBrokerClientTest() { EXPECT_TRUE(client_.start(Endpoint())); }

  [[nodiscard]] auto AskOnAThread(const std::string& payload) {
    return std::async(std::launch::async, [this, payload] {
      return test::Bytes(StCFTypeRef<CFDataRef>(client_.TransferData(9, MakeData(payload))));
    });
  }

  test::BareSocket peer_{ZMQ_REP, Endpoint()};
  Client client_;
};

TEST_F(ZmqBrokerClientTest, ARequestIsIdAndPayloadAndTheFirstFrameAnswersIt) {
  const std::string binary("\0reply", 6);
  const struct {
    Frames reply;
    std::optional<std::string> result;
  } cases[] = {{{binary}, binary}, {{"one", "more", ""}, "one"}, {{""}, std::nullopt}, {{"two"}, "two"}};
  for (const auto& row : cases) {
    auto result = AskOnAThread("payload");
    EXPECT_EQ(peer_.Receive(), (Frames{Id(9), "payload"}));
    peer_.Send(row.reply);
    EXPECT_EQ(result.get(), row.result) << testing::PrintToString(row.reply);
  }
}

TEST_F(ZmqBrokerClientTest, APeerThatDoesNotAnswerIsDownUntilTheNextStart) {
  client_.BecomeImpatient();
  EXPECT_EQ(client_.TransferData(1, MakeData("first")), nullptr);
  EXPECT_NE(Log().find("RCZmqBrokerClientBase: Oculon peer apears to be down\n"), std::string::npos) << Log();
  EXPECT_EQ(client_.TransferData(1, MakeData("second")), nullptr);

  ASSERT_TRUE(client_.start(Endpoint()));
  EXPECT_EQ(client_.TransferData(1, MakeData("third")), nullptr);
  EXPECT_EQ(peer_.Receive(), (Frames{Id(1), "first"}));
  peer_.Send({"late"});
  EXPECT_EQ(peer_.Receive(), (Frames{Id(1), "third"})) << "the second was not sent";
}

TEST_F(ZmqBrokerClientTest, WhileAReplyIsAwaitedAnotherThreadMayStartAnewButNotAsk) {
  client_.BecomeImpatient();
  auto waiting = AskOnAThread("old");
  ASSERT_EQ(peer_.Receive(), (Frames{Id(9), "old"}));
  const unsigned char record[] = {2, 0, 0, 0};
  EXPECT_EQ(client_.TransferData(record, 4), 0);
  ASSERT_TRUE(client_.start(Endpoint()));
  EXPECT_EQ(waiting.get(), std::nullopt);
  EXPECT_EQ(Log().find("apears to be down"), std::string::npos) << "nobody waits for it any more";
  peer_.Send({"late"});

  EXPECT_EQ(client_.TransferData(record, 4), 4) << "the old request's time-out is not the new connection's";
  EXPECT_EQ(peer_.Receive(), (Frames{Id(1), {2, 0, 0, 0}}));
}

TEST(OculonClientStartTest, AStandAloneClientOutlivesAUselessTemporaryFolder) {
  const test::TemporaryFolder folder;
  SetRootFolder(folder.Path().c_str());
  std::filesystem::current_path(folder.Path());
  std::ofstream{"t"};  // no folder: the lookup of the endpoint gives "t/"
  setenv("TMPDIR", "t", 1);
  RCOculonClient client;
  EXPECT_FALSE(client.start_observer());
}

}  // namespace
