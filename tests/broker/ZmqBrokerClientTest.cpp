// The broker's client end, answered by our server or by a plain ZeroMQ socket.
#include <future>

#include "broker/RCZmqBroker.h"
#include "tests/broker/BrokerTest.h"
#include "tests/support/WaitFor.h"

namespace {

using test::BareSocket;
using test::Frames;
using test::Id;
using test::MakeData;

// Does not wait twenty seconds for a peer that is not there.
class ImpatientClient : public RCZmqBrokerClientBase {
 public:
  explicit ImpatientClient(int timeoutMs) { replyTimeoutMs_ = timeoutMs; }
};

class ZmqBrokerClientTest : public test::BrokerTest {
 protected:
  // A reply socket that answers only when the test does.
  void Bind(BareSocket& peer) { ASSERT_EQ(zmq_bind(peer.Get(), Endpoint().c_str()), 0); }
};

const unsigned char kRecord[] = {2, 0, 0, 0};

TEST_F(ZmqBrokerClientTest, ARequestTravelsAsIdAndPayloadAndItsReplyComesBack) {
  test::RecordingServer server;
  server.reply = std::string("\0reply", 6);
  ASSERT_TRUE(server.start(Endpoint()));
  RCZmqBrokerClientBase client;
  ASSERT_TRUE(client.start(Endpoint()));

  const StCFTypeRef<CFDataRef> reply(client.TransferData(9, MakeData("payload")));
  ASSERT_NE(reply.get(), nullptr);
  EXPECT_EQ(test::Bytes(reply), server.reply);
  EXPECT_EQ(client.TransferData(kRecord, 4), 4);
  const std::string record(reinterpret_cast<const char*>(kRecord), 4);
  EXPECT_EQ(server.TakeCalls(), (std::vector<test::RecordingServer::Call>{{9, "payload"}, {1, record}}));
}

TEST_F(ZmqBrokerClientTest, AnEmptyReplyIsNull) {
  test::RecordingServer server;
  ASSERT_TRUE(server.start(Endpoint()));
  RCZmqBrokerClientBase client;
  ASSERT_TRUE(client.start(Endpoint()));
  EXPECT_EQ(client.TransferData(1, MakeData("x")), nullptr);
  EXPECT_EQ(client.TransferData(1, nullptr), nullptr);
}

TEST_F(ZmqBrokerClientTest, AReplyOfSeveralFramesDoesNotDisturbTheNext) {
  BareSocket peer(ZMQ_REP);
  Bind(peer);
  RCZmqBrokerClientBase client;
  ASSERT_TRUE(client.start(Endpoint()));
  for (const char* first : {"one", "two"}) {
    auto answered = std::async(std::launch::async, [&] {
      EXPECT_EQ(peer.Receive(), (Frames{Id(1), "x"}));
      peer.Send({first, "more", ""});
    });
    const StCFTypeRef<CFDataRef> reply(client.TransferData(1, MakeData("x")));
    answered.wait();
    ASSERT_NE(reply.get(), nullptr);
    EXPECT_EQ(test::Bytes(reply), first);
  }
}

TEST_F(ZmqBrokerClientTest, NothingToSendSendsNothing) {
  BareSocket peer(ZMQ_REP);
  Bind(peer);
  RCZmqBrokerClientBase client;
  EXPECT_EQ(client.TransferData(1, MakeData("x")), nullptr) << "not connected";
  ASSERT_TRUE(client.start(Endpoint()));
  EXPECT_EQ(client.TransferData(kRecord, 0), 0);
  long length = 4;
  EXPECT_EQ(client.transfer_request(1, nullptr, length), nullptr);
  EXPECT_EQ(client.TransferData(1, MakeData("")), nullptr);
  EXPECT_EQ(peer.Receive(50), Frames{});
}

TEST_F(ZmqBrokerClientTest, APeerThatDoesNotAnswerIsDownUntilTheNextStart) {
  BareSocket peer(ZMQ_REP);
  Bind(peer);
  ImpatientClient client(50);
  ASSERT_TRUE(client.start(Endpoint()));
  EXPECT_EQ(client.TransferData(1, MakeData("first")), nullptr);
  EXPECT_NE(Log().find("RCZmqBrokerClientBase: Oculon peer apears to be down\n"), std::string::npos) << Log();
  EXPECT_EQ(client.TransferData(1, MakeData("second")), nullptr);

  ASSERT_TRUE(client.start(Endpoint()));
  EXPECT_EQ(client.TransferData(1, MakeData("third")), nullptr);
  EXPECT_EQ(peer.Receive(), (Frames{Id(1), "first"}));
  peer.Send({"late"});
  EXPECT_EQ(peer.Receive(), (Frames{Id(1), "third"})) << "the second was not sent";
}

TEST_F(ZmqBrokerClientTest, OneRequestAtATime) {
  BareSocket peer(ZMQ_REP);
  Bind(peer);
  RCZmqBrokerClientBase client;
  ASSERT_TRUE(client.start(Endpoint()));
  auto first = std::async(std::launch::async, [&] { return client.TransferData(kRecord, 4); });
  ASSERT_EQ(peer.Receive().size(), 2U);
  EXPECT_EQ(client.TransferData(kRecord, 4), 0) << "cannot be sent while a reply is awaited";
  peer.Send({""});
  EXPECT_EQ(first.get(), 4);
}

TEST_F(ZmqBrokerClientTest, AnotherThreadMayStartAnewWhileAReplyIsAwaited) {
  BareSocket peer(ZMQ_REP);
  Bind(peer);
  ImpatientClient client(300);
  ASSERT_TRUE(client.start(Endpoint()));
  auto waiting = std::async(std::launch::async, [&] { return client.TransferData(1, MakeData("old")); });
  ASSERT_EQ(peer.Receive(), (Frames{Id(1), "old"}));
  client.stop();
  ASSERT_TRUE(client.start(Endpoint()));
  EXPECT_EQ(waiting.get(), nullptr);
  peer.Send({"late"});

  auto answered = std::async(std::launch::async, [&] {
    EXPECT_EQ(peer.Receive(), (Frames{Id(1), "new"}));
    peer.Send({"reply"});
  });
  const StCFTypeRef<CFDataRef> reply(client.TransferData(1, MakeData("new")));
  answered.wait();
  EXPECT_NE(reply.get(), nullptr) << "the old request's time-out is not the new connection's";
}

TEST_F(ZmqBrokerClientTest, AnEndpointThatIsNoneIsReported) {
  RCZmqBrokerClientBase client;
  EXPECT_FALSE(client.start("nonsense"));
  EXPECT_NE(Log().find("RCZmqBrokerClientBase: failed zmq_connect\n"), std::string::npos) << Log();
}

}  // namespace
