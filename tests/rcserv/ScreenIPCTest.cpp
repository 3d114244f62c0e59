#include "rcserv/ScreenIPCApple.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "rcserv/System.h"
#include "tests/rcserv/ScreenFolder.h"

namespace rcserv::screen_ipc {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Server and client take turns on one thread: with a time-out below a second nobody waits.
class ScreenIPCTest : public test::ScreenFolderTest {
 protected:
  void ConnectClient(test::RawClient& client) {
    EXPECT_FALSE(serv_.Connect(0));
    ASSERT_TRUE(client.Connect(SocketPath()));
    ASSERT_TRUE(serv_.Connect(0));
  }
  // Reads the request of a new client and answers it.
  void ExpectTheNextClientServed() {
    test::RawClient next;
    ConnectClient(next);
    next.Send({0x34, 0x12});
    ASSERT_EQ(serv_.ReadRequest(0), kDone);
    EXPECT_EQ(serv_.request_id(), 0x1234);
    ASSERT_EQ(serv_.WriteResponse(serv_.response()), kDone);
    EXPECT_THAT(next.Receive(), Not(IsEmpty()));
  }

  Serv serv_;
  test::RawClient client_;
};

TEST_F(ScreenIPCTest, WithoutAClientTheWholeTimeOutPasses) {
  testing::internal::CaptureStderr();
  const uint32_t start = System::TickCountMs();
  EXPECT_EQ(serv_.ReadRequest(50), kFailed);
  EXPECT_GE(System::TickCountMs() - start, 50U);
  EXPECT_EQ(serv_.ReadRequest(0), kFailed);
  const std::string log = testing::internal::GetCapturedStderr();
  const std::string line = "Serv: Wating for connect\n";
  EXPECT_THAT(log, HasSubstr(line));
  EXPECT_EQ(log.find(line), log.rfind(line)) << "it goes on listening";
}

TEST_F(ScreenIPCTest, ABadClientIsDroppedAndTheNextOneServed) {
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"half a request", [&] { client_.Send({0x01}); }},
      {"no answer awaited",
       [&] {
         client_.Send({1, 0});
         client_.Close();
         ASSERT_EQ(serv_.ReadRequest(0), kDone);
         EXPECT_EQ(serv_.WriteResponse(serv_.response()), kFailed);
       }},
      {"never reads", [&] {
         int answers = 0;
         while (answers < 1'000'000 && serv_.WriteResponse(serv_.response()) == kDone) ++answers;
         EXPECT_LT(answers, 1'000'000);
       }}};
  for (const auto& [what, misbehave] : rows) {
    SCOPED_TRACE(what);
    testing::internal::CaptureStderr();
    ConnectClient(client_);
    misbehave();
    EXPECT_EQ(serv_.ReadRequest(0), kFailed);
    EXPECT_EQ(serv_.WriteResponse(serv_.response()), kFailed) << "without a connection";
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("Serv: Disconnected"));
    ExpectTheNextClientServed();
    serv_.Reset();
  }
}

TEST_F(ScreenIPCTest, ASecondClientFindsNobodyWhileOneIsServed) {
  ConnectClient(client_);
  test::RawClient second;
  EXPECT_FALSE(second.Connect(SocketPath()));
  client_.Close();
  EXPECT_EQ(serv_.ReadRequest(0), kFailed);
  ExpectTheNextClientServed();
}

TEST_F(ScreenIPCTest, TheSocketIsItsOwnersAloneAndGoesWithItsServer) {
  {
    Serv second;
    {
      Serv first;
      EXPECT_FALSE(first.Connect(0));
      struct stat socket {};
      ASSERT_EQ(stat(SocketPath().c_str(), &socket), 0);
      EXPECT_EQ(socket.st_mode & 0777, 0600U);
      EXPECT_FALSE(second.Connect(0));
    }
    ASSERT_TRUE(client_.Connect(SocketPath())) << "the first one's end leaves the second one's socket";
    EXPECT_TRUE(second.Connect(0));
  }
  EXPECT_FALSE(std::filesystem::exists(SocketPath()));
}

TEST_F(ScreenIPCTest, WhenTheFolderIsGoneOneLineSaysSoAndItRecovers) {
  EXPECT_FALSE(serv_.Connect(0));
  serv_.Reset();
  std::filesystem::remove_all(folder_.Path());
  for (const int lines : {1, 0}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(serv_.ReadRequest(0), kFailed);
    const std::string line = "Serv: cannot listen on " + SocketPath() + ": No such file or directory";
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.find(line) != std::string::npos, lines == 1) << log;
  }
  std::filesystem::create_directories(folder_.Path());
  ExpectTheNextClientServed();
}

TEST_F(ScreenIPCTest, AClientThatTimedOutGoesOnWaitingForTheSameAnswer) {
  Cli cli;
  ResponseRecord response{};
  EXPECT_EQ(cli.MakeRequest(response, 0), kFailed) << "nobody is there yet";
  EXPECT_FALSE(serv_.Connect(0));
  EXPECT_EQ(cli.MakeRequest(response, 0), kTimedOut);
  EXPECT_EQ(cli.MakeRequest(response, 0), kTimedOut);
  EXPECT_EQ(serv_.ReadRequest(0), kDone);
  EXPECT_EQ(serv_.request_id(), 1);
  EXPECT_EQ(serv_.ReadRequest(0), kTimedOut) << "one request was sent, not two";
  serv_.response().update = {.kind = kUpdate, .rectCount = 7, .rects = {}};
  ASSERT_EQ(serv_.WriteResponse(serv_.response()), kDone);
  EXPECT_EQ(cli.MakeRequest(response, 0), kDone);
  EXPECT_EQ(response.update.rectCount, 7U);
  EXPECT_EQ(cli.MakeRequest(response, 0), kTimedOut);
  EXPECT_EQ(serv_.ReadRequest(0), kDone) << "the next question is asked";
  serv_.Reset();
  EXPECT_EQ(cli.MakeRequest(response, 0), kFailed) << "the server has gone";
  EXPECT_FALSE(serv_.Connect(0));
  EXPECT_EQ(cli.MakeRequest(response, 0), kTimedOut);
  EXPECT_EQ(serv_.ReadRequest(0), kDone);
  EXPECT_EQ(serv_.request_id(), 2) << "the process's next connection";
  EXPECT_EQ(NextConnectionId(0xFFFF), 1) << "0 is no number";
}

}  // namespace
}  // namespace rcserv::screen_ipc
