// The broker's server end, asked by plain ZeroMQ sockets.
#include <unistd.h>

#include <future>

#include "tests/broker/BrokerTest.h"
#include "tests/support/WaitFor.h"

namespace {

using test::BareSocket;
using test::Frames;
using test::Id;
using Call = test::RecordingServer::Call;

class ZmqBrokerServerTest : public test::BrokerTest {
 protected:
  test::RecordingServer server_;
};

TEST_F(ZmqBrokerServerTest, EveryRequestGetsOneReplyAndOnlyGoodOnesReachTheController) {
  const std::string binary("\0\xff\x31", 3);
  const struct {
    const char* name;
    Frames request;
    std::vector<Call> calls;
  } cases[] = {
      {"id of 0 bytes", {"", "x"}, {}},
      {"id of 3 bytes", {"abc", "x"}, {}},
      {"id of 5 bytes", {"abcde", "x"}, {}},
      {"one frame", {Id(1)}, {}},
      {"two frames", {Id(-2), binary}, {{-2, binary}}},
      {"three frames", {Id(1), "x", "y"}, {}},
      {"empty payload", {Id(1), ""}, {{1, std::nullopt}}},
  };
  ASSERT_TRUE(server_.start(Endpoint()));
  BareSocket client(ZMQ_REQ, Endpoint());
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    client.Send(row.request);
    EXPECT_EQ(client.Receive(), Frames{row.calls.empty() ? "" : "answer"});
    EXPECT_EQ(server_.TakeCalls(), row.calls);
  }
}

TEST_F(ZmqBrokerServerTest, StopInsideARequestEndsTheLoopAfterItsReply) {
  server_.duringRequest = [this] { server_.stop(); };
  ASSERT_TRUE(server_.start(Endpoint()));
  BareSocket client(ZMQ_REQ, Endpoint());
  client.Send({Id(1), "x"});
  EXPECT_EQ(client.Receive(), Frames{"answer"});
  EXPECT_TRUE(test::WaitFor([&] { return access(Path().c_str(), F_OK) != 0; }));
}

TEST_F(ZmqBrokerServerTest, AStopWaitsForTheRequestThatIsServed) {
  std::promise<void> served, release;
  server_.duringRequest = [&] {
    served.set_value();
    release.get_future().wait();
  };
  ASSERT_TRUE(server_.start(Endpoint()));
  BareSocket client(ZMQ_REQ, Endpoint());
  client.Send({Id(1), "x"});
  served.get_future().wait();
  auto stopped = std::async(std::launch::async, [&] { server_.stop(); });
  EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  release.set_value();
  stopped.wait();
  EXPECT_EQ(client.Receive(), Frames{"answer"});
}

TEST_F(ZmqBrokerServerTest, AClientThatNeverReadsDoesNotHoldUpTheEnd) {
  BareSocket silent(ZMQ_DEALER, Endpoint());
  test::RecordingServer server;  // ends before the client does
  server.reply = std::string(512 * 1024, 'r');
  ASSERT_TRUE(server.start(Endpoint()));
  constexpr size_t kRequests = 20;
  for (size_t i = 0; i < kRequests; ++i) silent.Send({"", Id(1), "x"});
  size_t served = 0;
  EXPECT_TRUE(test::WaitFor([&] { return (served += server.TakeCalls().size()) == kRequests; }));
}

}  // namespace
