// The broker's server end, asked by plain ZeroMQ sockets.
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "broker/RCZmqBroker.h"
#include "platform/Handles.h"
#include "platform/System.h"
#include "tests/broker/BrokerTest.h"
#include "tests/support/WaitFor.h"

namespace {

using test::BareSocket;
using test::Frames;
using test::Id;
using test::RecordingServer;
using Call = RecordingServer::Call;

class ZmqBrokerServerTest : public test::BrokerTest {
 protected:
  void Connect(BareSocket& client) { ASSERT_EQ(zmq_connect(client.Get(), Endpoint().c_str()), 0); }

  // Asks as a new client and returns the reply.
  Frames Ask(const Frames& request) {
    BareSocket client(ZMQ_REQ);
    Connect(client);
    client.Send(request);
    return client.Receive();
  }

  RecordingServer server_;
};

TEST_F(ZmqBrokerServerTest, EveryRequestGetsOneReplyAndOnlyGoodOnesReachTheController) {
  const std::string binary("\0\xff\x31", 3);
  const struct {
    const char* name;
    Frames request;
    std::vector<Call> calls;
  } cases[] = {
      {"two frames", {Id(1), binary}, {{1, binary}}},
      {"another id", {Id(-2), "x"}, {{-2, "x"}}},
      {"empty payload", {Id(1), ""}, {{1, std::nullopt}}},
      {"id of 0 bytes", {"", "x"}, {}},
      {"id of 3 bytes", {"abc", "x"}, {}},
      {"id of 5 bytes", {"abcde", "x"}, {}},
      {"bad id, empty payload", {"abc", ""}, {}},
      {"one frame", {Id(1)}, {}},
      {"one frame of 0 bytes", {""}, {}},
      {"three frames", {Id(1), "x", "y"}, {}},
      {"five frames", {Id(1), "", "y", "", "z"}, {}},
  };
  server_.reply = "answer";
  ASSERT_TRUE(server_.start(Endpoint()));
  BareSocket client(ZMQ_REQ);
  Connect(client);
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    client.Send(row.request);
    EXPECT_EQ(client.Receive(), Frames{row.calls.empty() ? "" : "answer"});
    EXPECT_EQ(server_.TakeCalls(), row.calls);
    // And the next one is served.
    client.Send({Id(7), "next"});
    EXPECT_EQ(client.Receive(), Frames{"answer"});
    EXPECT_EQ(server_.TakeCalls(), (std::vector<Call>{{7, "next"}}));
  }
}

TEST_F(ZmqBrokerServerTest, AReplyOfNothingIsAnEmptyFrame) {
  ASSERT_TRUE(server_.start(Endpoint()));
  EXPECT_EQ(Ask({Id(1), "x"}), Frames{""});
}

TEST_F(ZmqBrokerServerTest, AFrameBeyondAllMeasureIsNotTaken) {
  ASSERT_TRUE(server_.start(Endpoint()));
  BareSocket hostile(ZMQ_REQ);
  Connect(hostile);
  hostile.Send({Id(1), std::string(2 << 20, 'x')});
  EXPECT_EQ(Ask({Id(1), "x"}), Frames{""});
  EXPECT_EQ(server_.TakeCalls(), (std::vector<Call>{{1, "x"}}));
}

TEST_F(ZmqBrokerServerTest, AStrangerOnTheSocketDoesNotDisturb) {
  ASSERT_TRUE(server_.start(Endpoint()));
  const platform::UniqueFd stranger(socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_storage address{};
  const socklen_t length = platform::MakeLocalAddress(Path(), address);
  ASSERT_EQ(connect(stranger.Get(), reinterpret_cast<sockaddr*>(&address), length), 0);
  const std::string garbage(300, '\x7f');
  ASSERT_EQ(send(stranger.Get(), garbage.data(), garbage.size(), platform::SendFlags()), 300);
  EXPECT_EQ(Ask({Id(1), "x"}), Frames{""});
}

TEST_F(ZmqBrokerServerTest, StopInsideARequestEndsTheLoopAfterItsReply) {
  server_.reply = "last";
  server_.duringRequest = [this] { server_.stop(); };
  ASSERT_TRUE(server_.start(Endpoint()));
  EXPECT_EQ(Ask({Id(1), "x"}), Frames{"last"});
  EXPECT_TRUE(test::WaitFor([&] { return access(Path().c_str(), F_OK) != 0; }));

  server_.stop();
  server_.duringRequest = [this] { EXPECT_FALSE(server_.start(Endpoint())); };
  ASSERT_TRUE(server_.start(Endpoint()));
  EXPECT_EQ(Ask({Id(1), "x"}), Frames{"last"}) << "a start on the broker thread is refused";
}

TEST_F(ZmqBrokerServerTest, AStopWaitsForTheRequestThatIsServed) {
  std::promise<void> served, release;
  server_.reply = "done";
  server_.duringRequest = [&] {
    served.set_value();
    release.get_future().wait();
  };
  ASSERT_TRUE(server_.start(Endpoint()));
  BareSocket client(ZMQ_REQ);
  Connect(client);
  client.Send({Id(1), "x"});
  served.get_future().wait();
  auto stopped = std::async(std::launch::async, [&] { server_.stop(); });
  EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  release.set_value();
  stopped.wait();
  EXPECT_EQ(client.Receive(), Frames{"done"});
}

TEST_F(ZmqBrokerServerTest, AClientThatNeverReadsDoesNotHoldUpTheEnd) {
  BareSocket silent(ZMQ_DEALER);
  const int one = 1;
  zmq_setsockopt(silent.Get(), ZMQ_RCVHWM, &one, sizeof one);
  RecordingServer server;
  server.reply = std::string(512 * 1024, 'r');
  ASSERT_TRUE(server.start(Endpoint()));
  Connect(silent);
  constexpr size_t kRequests = 20;
  for (size_t i = 0; i < kRequests; ++i) silent.Send({"", Id(1), "x"});
  std::vector<Call> calls;
  ASSERT_TRUE(test::WaitFor([&] {
    for (Call& call : server.TakeCalls()) calls.push_back(std::move(call));
    return calls.size() == kRequests;
  }));
  // The server ends before the client does.
}

TEST_F(ZmqBrokerServerTest, AnotherStartEndsTheServerBefore) {
  ASSERT_TRUE(server_.start(Endpoint()));
  const std::string other = folder_ / "other";
  ASSERT_TRUE(server_.start("ipc://" + other));
  EXPECT_NE(access(Path().c_str(), F_OK), 0);
  EXPECT_EQ(access(other.c_str(), F_OK), 0);
  server_.stop();
  EXPECT_NE(access(other.c_str(), F_OK), 0);
}

TEST_F(ZmqBrokerServerTest, OnlyTheOwnerCanConnect) {
  const mode_t mask = umask(0);
  ASSERT_TRUE(server_.start(Endpoint()));
  struct stat found {};
  ASSERT_EQ(lstat(Path().c_str(), &found), 0);
  EXPECT_TRUE(S_ISSOCK(found.st_mode));
  EXPECT_EQ(found.st_mode & 0777U, 0600U);
  umask(mask);
}

TEST_F(ZmqBrokerServerTest, ASecondServerTakesTheEndpointOverAndTheFirstLeavesItAlone) {
  ASSERT_TRUE(server_.start(Endpoint()));
  RecordingServer second;
  second.reply = "second";
  ASSERT_TRUE(second.start(Endpoint()));
  EXPECT_EQ(Ask({Id(1), "x"}), Frames{"second"});
  server_.stop();
  EXPECT_EQ(Ask({Id(1), "x"}), Frames{"second"});
  second.stop();
  EXPECT_NE(access(Path().c_str(), F_OK), 0);
}

TEST_F(ZmqBrokerServerTest, AnEndpointThatCannotBeBoundIsReported) {
  const std::string missing = "ipc://" + (folder_ / "missing/observe");
  const std::string tooLong = "ipc://" + (folder_ / std::string(150, 'n'));
  for (const std::string& endpoint : {missing, tooLong, folder_ / "no-transport"}) {
    EXPECT_FALSE(server_.start(endpoint)) << endpoint;
    EXPECT_NE(Log().find("cannot listen on " + endpoint + ": "), std::string::npos) << Log();
  }
  EXPECT_NE(Log().find("RCZmqBrokerServerBase: failed zmq_bind\n"), std::string::npos) << Log();
  EXPECT_TRUE(server_.start(Endpoint()));
}

TEST_F(ZmqBrokerServerTest, AThreadThatCannotBeMadeIsReported) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, size_t{1} << 46);  // more than there is address space
  ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
  pthread_attr_destroy(&attributes);
  EXPECT_FALSE(server_.start(Endpoint()));
  EXPECT_NE(Log().find("RCZmqBrokerServerBase: no thread: "), std::string::npos) << Log();
}

}  // namespace
