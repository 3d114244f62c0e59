// The message-port broker: a server on a run loop of its own, and clients that look it up.
#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "broker/RCRemoteBroker.h"
#include "common/KCFolderManager.h"
#include "platform/ThreadSafety.h"
#include "tests/broker/BrokerTest.h"
#include "tests/support/StandardError.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XServer.h"

namespace {

using Call = std::pair<int, std::optional<std::string>>;  // message id and data
using Calls = std::vector<Call>;

// Remembers what it is sent and answers with `reply`, on a thread of its own.
class Server : public KCBrokerServer {
 public:
  explicit Server(CFStringRef name, bool perConsoleUser = false) : KCBrokerServer(name, perConsoleUser) {}
  ~Server() override { End(); }

  CFDataRef ProcessData(int msgid, CFDataRef data) override {
    const Locked held(lock_);
    calls_.emplace_back(msgid, test::Bytes(data));
    return reply_ ? test::MakeData(*reply_).Release() : nullptr;
  }

  void Serve() {
    std::promise<CFRunLoopRef> serving;
    thread_ = std::thread([&] {
      EXPECT_TRUE(StartBroker(CFRunLoopGetCurrent()));
      EXPECT_TRUE(StartBroker(CFRunLoopGetCurrent())) << "it has its port";
      serving.set_value(CFRunLoopGetCurrent());
      CFRunLoopRun();  // ends with its only source
    });
    serving.get_future().wait();
  }
  void End() {
    StopBroker();
    if (thread_.joinable()) thread_.join();
  }
  void SetReply(std::optional<std::string> reply) {
    const Locked held(lock_);
    reply_ = std::move(reply);
  }
  [[nodiscard]] Calls Received() {
    const Locked held(lock_);
    return calls_;
  }

 private:
  Lock lock_;
  std::optional<std::string> reply_ GUARDED_BY(lock_);
  Calls calls_ GUARDED_BY(lock_);
  std::thread thread_;
};

class KCBrokerTest : public test::BrokerTest {
 protected:
  KCBrokerTest() {
    setenv("KORVANE_PORTS_DIR", (folder_ / "ports").c_str(), 1);
    unsetenv("DISPLAY");
  }
  static std::string Text(CFStringRef taken) {
    const StCFTypeRef<CFStringRef> string(taken);
    char text[100] = "(null)";
    if (taken != nullptr) CFStringGetCString(taken, text, sizeof text, kCFStringEncodingUTF8);
    return text;
  }
  // One-way requests arrive a moment later.
  static void ExpectCalls(Server& server, const Calls& expected) {
    EXPECT_TRUE(test::WaitFor([&] { return server.Received().size() >= expected.size(); }));
    EXPECT_EQ(server.Received(), expected);
  }

  test::TemporaryFolder folder_;
};

constexpr unsigned char kRecord[] = {'r', 'e', 'c'};

TEST_F(KCBrokerTest, TheServiceIsAskedUnderItsMessageIds) {
  Server service(CFSTR("kvremote"));
  service.Serve();
  EXPECT_TRUE(std::filesystem::exists(folder_ / "ports/com.korvane.kvremote"));
  RCRemoteClient client;
  EXPECT_EQ(client.TransferData(kRecord, sizeof kRecord), 3);
  service.SetReply("J\xC3\xBCrgen");
  EXPECT_EQ(Text(client.GetUserName()), "J\xC3\xBCrgen");
  EXPECT_EQ(Text(client.GetComputerName()), "J\xC3\xBCrgen");
  const std::pair<std::optional<std::string>, bool> replies[] = {
      {std::nullopt, false}, {"", false}, {std::string(2, '\0'), false}, {"\1", true}};
  for (const auto& [reply, expected] : replies) {
    service.SetReply(reply);
    EXPECT_EQ(client.HasRemoteSession(), expected) << testing::PrintToString(reply);
  }
  client.RestartObserver();
  client.QuitChatClients();
  client.EndSession();
  ExpectCalls(service,
              {{1, "rec"}, {2, {}}, {3, {}}, {4, {}}, {4, {}}, {4, {}}, {4, {}}, {5, {}}, {6, {}}, {7, {}}});
}

TEST_F(KCBrokerTest, WithoutItsServiceAProcedureIsSilentAndAFunctionSaysSo) {
  RCRemoteClient client;
  const std::string said = test::StandardErrorOf([&] {
    EXPECT_EQ(client.TransferData(kRecord, sizeof kRecord), 3);
    client.EndSession();
    EXPECT_EQ(Log(), "");
    EXPECT_EQ(client.GetUserName(), nullptr);
    EXPECT_FALSE(client.HasRemoteSession());
  });
  EXPECT_EQ(said, "");
  EXPECT_NE(Log().find("No message port\n"), std::string::npos);
  EXPECT_EQ(client.GetMessagePort(), nullptr);
}

TEST_F(KCBrokerTest, AClientGoesOnWithARestartedServer) {
  RCRemoteClient client;
  for (int round = 0; round < 3; ++round) {
    Server service(CFSTR("kvremote"));
    for (int start = 0; start < 2; ++start) {
      service.Serve();
      service.SetReply("\1");
      EXPECT_TRUE(client.HasRemoteSession());
      client.EndSession();
      ExpectCalls(service, start == 0 ? Calls{{4, {}}, {7, {}}} : Calls{{4, {}}, {7, {}}, {4, {}}, {7, {}}});
      Server other(CFSTR("kvremote"));
      EXPECT_FALSE(other.StartBroker(CFRunLoopGetCurrent())) << "the name is taken";
      service.End();
    }
  }
  EXPECT_EQ(Log().find("Found"), std::string::npos) << "the port has the name that was asked for";
}

class EagerClient : public KCBrokerClient {
 public:
  explicit EagerClient(CFStringRef name) : KCBrokerClient(name, false) {
    retryDelay_ = std::chrono::milliseconds(5);
  }
};

TEST_F(KCBrokerTest, AClientStartsItsServerAndWaitsForThePort) {
  const std::string root = folder_ / "root with blanks";
  SetRootFolder(root.c_str());
  std::filesystem::create_directories(root + "/bin");
  const std::string started = folder_ / "started";
  std::ofstream(root + "/bin/kvsome") << "#!/bin/sh\necho once >> '" << started << "'\n";
  chmod((root + "/bin/kvsome").c_str(), 0755);

  EagerClient client(CFSTR("kvsome"));
  client.QuitBrokerServer(nullptr);  // it has started none
  EXPECT_EQ(client.StartBroker(), nullptr) << "the program made no port";
  EXPECT_TRUE(test::WaitFor([&] { return test::FileText(started) == "once\n"; }));

  Server late(CFSTR("kvsome"));
  late.Serve();
  EXPECT_NE(client.StartBroker(), nullptr);
  EXPECT_EQ(test::FileText(started), "once\n") << "there was a port";
  const std::string failure = "KCBrokerClient::QuitBrokerServer: kill(SIGTERM) failed";
  EXPECT_NE(test::StandardErrorOf([&] { client.QuitBrokerServer(nullptr); }).find(failure),
            std::string::npos);
  EXPECT_EQ(test::StandardErrorOf([&] { client.QuitBrokerServer(nullptr); }), "") << "the count is 0 again";
}

class PerConsoleClient : public KCBrokerClient {
 public:
  PerConsoleClient() : KCBrokerClient(CFSTR("kvnote"), true) {}
  bool StartBrokerServer() override { return false; }
};

TEST_F(KCBrokerTest, APerConsoleClientReachesEveryUserItHasTalkedTo) {
  PerConsoleClient client;
  Server atLogin(CFSTR("kvnote"), true);
  atLogin.Serve();
  EXPECT_TRUE(std::filesystem::exists(folder_ / "ports/com.korvane.kvnote.loginwindow"));
  client.TransferData(kRecord, 1);
  ExpectCalls(atLogin, {{1, "r"}});

  const test::XServer login;  // its owner has the console now
  Server ofUser(CFSTR("kvnote"), true);
  ofUser.Serve();
  EXPECT_NE(Text(static_cast<CFStringRef>(CFRetain(ofUser.GetBrokerUserName()))), "loginwindow");
  client.TransferData(kRecord, 2);
  EXPECT_EQ(client.TransferDataToAllConsoles(kRecord, 3), 3);
  ExpectCalls(ofUser, {{1, "re"}, {1, "rec"}});
  ExpectCalls(atLogin, {{1, "r"}, {1, "rec"}});

  atLogin.End();  // and comes back
  atLogin.Serve();
  client.TransferDataToAllConsoles(kRecord, 2);
  ExpectCalls(atLogin, {{1, "r"}, {1, "rec"}, {1, "re"}});
  ExpectCalls(ofUser, {{1, "re"}, {1, "rec"}, {1, "re"}});
  client.StopBroker();
  client.TransferDataToAllConsoles(kRecord, 3);  // knows nobody any more
  client.TransferData(kRecord, 1);
  ExpectCalls(ofUser, {{1, "re"}, {1, "rec"}, {1, "re"}, {1, "r"}});
}

}  // namespace
