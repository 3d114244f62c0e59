#include "rcserv/ScreenIPCApple.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>

#include "rcserv/System.h"
#include "tests/rcserv/ScreenFolder.h"

namespace rcserv::screen_ipc {
namespace {

using testing::HasSubstr;
using testing::Not;

// Server and client take turns on one thread: with a time-out below a second nobody waits.
class ScreenIPCTest : public test::ScreenFolderTest {
 protected:
  // Leaves `serv` connected to `client`.
  void ConnectClient(Serv& serv, test::RawClient& client) {
    EXPECT_FALSE(serv.Connect(0));
    ASSERT_TRUE(client.Connect(SocketPath()));
    ASSERT_TRUE(serv.Connect(0));
  }
};

TEST_F(ScreenIPCTest, ARequestIsReadAndAnsweredByteForByte) {
  Serv serv;
  test::RawClient client;
  ConnectClient(serv, client);
  EXPECT_EQ(serv.ReadRequest(0), kTimedOut) << "silent, but alive";
  client.Send({0x34, 0x12});
  ASSERT_EQ(serv.ReadRequest(0), kDone);
  EXPECT_EQ(serv.request_id(), 0x1234);
  for (uint32_t i = 0; i < 100; ++i) serv.response().update.rects[i].bottom = static_cast<int16_t>(i);
  ASSERT_EQ(serv.WriteResponse(serv.response()), kDone);
  const auto answer = client.Receive();
  ASSERT_TRUE(answer);
  EXPECT_EQ(std::memcmp(answer->data(), &serv.response(), 808), 0);
}

TEST_F(ScreenIPCTest, WithoutAClientTheWholeTimeOutPasses) {
  Serv serv;
  testing::internal::CaptureStderr();
  const uint32_t start = System::TickCountMs();
  EXPECT_EQ(serv.ReadRequest(50), kFailed);
  EXPECT_GE(System::TickCountMs() - start, 50U);
  EXPECT_EQ(serv.ReadRequest(0), kFailed);
  const std::string log = testing::internal::GetCapturedStderr();
  const std::string line = "Serv: Wating for connect\n";
  EXPECT_THAT(log, HasSubstr(line));
  EXPECT_EQ(log.find(line), log.rfind(line)) << "it goes on listening";
}

TEST_F(ScreenIPCTest, WhoeverSendsHalfARequestIsDroppedAndTheNextOneServed) {
  Serv serv;
  test::RawClient half;
  ConnectClient(serv, half);
  half.Send({0x01});
  testing::internal::CaptureStderr();
  EXPECT_EQ(serv.ReadRequest(0), kFailed);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Serv: Disconnected"));
  EXPECT_FALSE(half.Receive());
  test::RawClient next;
  ConnectClient(serv, next);
  next.Send({1, 0});
  EXPECT_EQ(serv.ReadRequest(0), kDone);
}

TEST_F(ScreenIPCTest, AClientThatLeavesBeforeItsAnswerDoesNoHarm) {
  Serv serv;
  test::RawClient client;
  ConnectClient(serv, client);
  client.Send({1, 0});
  client.Close();
  ASSERT_EQ(serv.ReadRequest(0), kDone);
  EXPECT_EQ(serv.WriteResponse(serv.response()), kFailed);
  EXPECT_EQ(serv.WriteResponse(serv.response()), kFailed) << "without a connection";
}

TEST_F(ScreenIPCTest, AClientThatNeverReadsIsDropped) {
  Serv serv;
  test::RawClient client;
  ConnectClient(serv, client);
  int answers = 0;
  while (answers < 1'000'000 && serv.WriteResponse(serv.response()) == kDone) ++answers;
  EXPECT_LT(answers, 1'000'000);
  test::RawClient next;
  ConnectClient(serv, next);
}

TEST_F(ScreenIPCTest, ASecondClientFindsNobodyWhileOneIsServed) {
  Serv serv;
  test::RawClient first;
  ConnectClient(serv, first);
  test::RawClient second;
  EXPECT_FALSE(second.Connect(SocketPath()));
  first.Close();
  EXPECT_EQ(serv.ReadRequest(0), kFailed);
  ConnectClient(serv, second);
}

TEST_F(ScreenIPCTest, TheSocketIsItsOwnersAloneAndGoesWithTheServer) {
  {
    Serv serv;
    EXPECT_FALSE(serv.Connect(0));
    struct stat socket {};
    ASSERT_EQ(stat(SocketPath().c_str(), &socket), 0);
    EXPECT_EQ(socket.st_mode & 0777, 0600U);
  }
  EXPECT_FALSE(std::filesystem::exists(SocketPath()));

  Serv second;
  {
    Serv first;
    EXPECT_FALSE(first.Connect(0));
    EXPECT_FALSE(second.Connect(0));
  }
  test::RawClient client;
  ASSERT_TRUE(client.Connect(SocketPath())) << "the first one's end leaves the second one's socket";
  EXPECT_TRUE(second.Connect(0));
}

TEST_F(ScreenIPCTest, WhenTheFolderIsGoneOneLineSaysSoAndItRecovers) {
  Serv serv;
  EXPECT_FALSE(serv.Connect(0));
  serv.Reset();
  std::filesystem::remove_all(folder_.Path());
  testing::internal::CaptureStderr();
  EXPECT_EQ(serv.ReadRequest(0), kFailed);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("Serv: cannot listen on " + SocketPath() + ": No such file or directory"));
  testing::internal::CaptureStderr();
  EXPECT_EQ(serv.ReadRequest(0), kFailed);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), Not(HasSubstr("cannot listen")));
  std::filesystem::create_directories(folder_.Path());
  test::RawClient client;
  ConnectClient(serv, client);
}

TEST_F(ScreenIPCTest, AClientThatTimedOutGoesOnWaitingForTheSameAnswer) {
  Serv serv;
  EXPECT_FALSE(serv.Connect(0));
  Cli cli;
  ResponseRecord response{};
  EXPECT_EQ(cli.MakeRequest(response, 0), kTimedOut);
  EXPECT_EQ(cli.MakeRequest(response, 0), kTimedOut);
  EXPECT_EQ(serv.ReadRequest(0), kDone);
  EXPECT_EQ(serv.ReadRequest(0), kTimedOut) << "one request was sent, not two";
  serv.response().update = {.kind = kUpdate, .rectCount = 7, .rects = {}};
  ASSERT_EQ(serv.WriteResponse(serv.response()), kDone);
  EXPECT_EQ(cli.MakeRequest(response, 0), kDone);
  EXPECT_EQ(response.update.rectCount, 7U);
  EXPECT_EQ(cli.MakeRequest(response, 0), kTimedOut);
  EXPECT_EQ(serv.ReadRequest(0), kDone) << "the next question is asked";
}

TEST_F(ScreenIPCTest, EveryConnectionOfAProcessHasTheNextNumber) {
  Serv serv;
  for (const uint16_t expected : {1, 2, 3}) {
    EXPECT_FALSE(serv.Connect(0));
    Cli cli;
    ResponseRecord response{};
    ASSERT_EQ(cli.MakeRequest(response, 0), kTimedOut);
    ASSERT_EQ(serv.ReadRequest(0), kDone);
    EXPECT_EQ(serv.request_id(), expected);
    serv.Reset();
  }
  EXPECT_EQ(NextConnectionId(0xFFFE), 0xFFFF);
  EXPECT_EQ(NextConnectionId(0xFFFF), 1) << "0 is no number";
}

TEST_F(ScreenIPCTest, AClientWithoutAServerFailsAndConnectsLater) {
  Cli cli;
  ResponseRecord response{};
  EXPECT_EQ(cli.MakeRequest(response, 0), kFailed);
  Serv serv;
  EXPECT_FALSE(serv.Connect(0));
  EXPECT_EQ(cli.MakeRequest(response, 0), kTimedOut);
  EXPECT_EQ(serv.ReadRequest(0), kDone);
  serv.Reset();
  EXPECT_EQ(cli.MakeRequest(response, 0), kFailed) << "the server has gone";
}

}  // namespace
}  // namespace rcserv::screen_ipc
