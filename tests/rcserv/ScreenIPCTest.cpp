#include "rcserv/ScreenIPCApple.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "tests/rcserv/ScreenFolder.h"

namespace rcserv::screen_ipc {
namespace {

using testing::HasSubstr;

// Server and client take turns on one thread: with a time-out below a second nobody waits.
class ScreenIPCTest : public test::ScreenFolderTest {
 protected:
  void ConnectClient(test::RawClient& client) {
    EXPECT_FALSE(serv_.Connect(0));
    ASSERT_TRUE(client.Connect(SocketPath()));
    ASSERT_TRUE(serv_.Connect(0));
  }

  Serv serv_;
  test::RawClient client_;
};

TEST_F(ScreenIPCTest, ABadClientIsDroppedAndTheNextOneServed) {
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"half a request", [&] { client_.Send({0x01}); }},
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
    test::RawClient next;
    ConnectClient(next);
    next.Send({0x34, 0x12});
    ASSERT_EQ(serv_.ReadRequest(0), kDone);
    EXPECT_EQ(serv_.request_id(), 0x1234);
    ASSERT_EQ(serv_.WriteResponse(serv_.response()), kDone);
    EXPECT_FALSE(next.Receive().empty());
    serv_.Reset();
  }
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
}

}  // namespace
}  // namespace rcserv::screen_ipc
