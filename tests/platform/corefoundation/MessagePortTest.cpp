// Message ports between real processes: requests, time-outs, peers that stop, die, lie or are somebody else.
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <optional>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include "platform/System.h"
#include "tests/platform/corefoundation/PortServer.h"
#include "tests/platform/corefoundation/Support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ObserverProcess.h"
#include "tests/support/StandardError.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace {

using test::Owned;

constexpr uid_t kSomebodyElse = 65534;
constexpr size_t kSeveralMegabytes = 9'000'000;

// A server in a process of its own, killed at the end.
class Server {
 public:
  explicit Server(const std::string& name, const std::string& user = "")
      : pid_(test::Spawn(user.empty() ? std::vector<std::string>{PORT_SERVER, name}
                                      : std::vector<std::string>{PORT_SERVER, name, user})) {}
  ~Server() { End(); }
  void Signal(int signal) const { kill(pid_, signal); }
  void End() {
    if (pid_ <= 0) return;
    Signal(SIGKILL);
    Wait();
  }
  int Wait() { return test::WaitForChild(std::exchange(pid_, -1)); }
  [[nodiscard]] bool HasEnded() const {
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == pid_;
  }
  [[nodiscard]] size_t ResidentBytes() const {
    std::istringstream pages(test::FileText("/proc/" + std::to_string(pid_) + "/statm"));
    size_t size = 0, resident = 0;
    pages >> size >> resident;
    return resident * static_cast<size_t>(getpagesize());
  }

 private:
  pid_t pid_;
};

struct Reply {
  SInt32 result;
  std::optional<std::string> data = {};
  bool operator==(const Reply&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Reply& reply) {
  return out << reply.result << (reply.data ? " " + reply.data->substr(0, 40) : " no data");
}

class Port {
 public:
  explicit Port(const std::string& name) {
    const Owned<CFStringRef> text(CFStringCreateWithCString(nullptr, name.c_str(), kCFStringEncodingUTF8));
    port_.reset(CFMessagePortCreateRemote(nullptr, text.get()));
  }
  [[nodiscard]] CFMessagePortRef Get() const { return port_.get(); }
  [[nodiscard]] bool IsValid() const { return CFMessagePortIsValid(port_.get()); }

  // A request with a mode waits for its reply.
  Reply Send(SInt32 id, const std::optional<std::string>& bytes = {}, CFTimeInterval send = 20,
             CFTimeInterval receive = 20, CFStringRef mode = kCFRunLoopDefaultMode) const {
    const Owned<CFDataRef> data(bytes ? CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes->data()),
                                                     static_cast<CFIndex>(bytes->size()))
                                      : nullptr);
    CFDataRef reply = nullptr;
    const SInt32 result =
        CFMessagePortSendRequest(port_.get(), id, data.get(), send, receive, mode, mode ? &reply : nullptr);
    if (reply == nullptr) return {result};
    const Owned<CFDataRef> owned(reply);
    return {result, std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(reply)),
                                static_cast<size_t>(CFDataGetLength(reply)))};
  }
  Reply Note(const std::string& bytes) const { return Send(test::kNote, bytes, 20, 0, nullptr); }

 private:
  Owned<CFMessagePortRef> port_;
};

class MessagePortTest : public testing::Test {
 protected:
  MessagePortTest() {
    setenv("KORVANE_PORTS_DIR", Folder().c_str(), 1);
    chmod(folder_.Path().c_str(), 0755);
  }
  [[nodiscard]] std::string Folder() const { return folder_ / "ports"; }
  [[nodiscard]] static Port Connect(const std::string& name) {
    std::optional<Port> port;
    EXPECT_TRUE(test::WaitFor([&] { return port.emplace(name).Get() != nullptr; }));
    return std::move(*port);
  }

 private:
  test::TemporaryFolder folder_;
};

TEST_F(MessagePortTest, RequestsOfEverySizeAreAnsweredToManyClientsAtATime) {
  const Server server("echo");
  const Port port = Connect("echo");
  EXPECT_EQ(port.Send(-7), (Reply{0, "-7"}));
  EXPECT_EQ(port.Send(test::kNothing, "x"), (Reply{0}));
  EXPECT_EQ(port.Send(test::kEcho, ""), (Reply{0, ""}));
  for (const size_t size : {size_t{1}, size_t{65519}, size_t{65520}, size_t{65521}, kSeveralMegabytes})
    EXPECT_EQ(port.Send(test::kEcho, std::string(size, 'e')), (Reply{0, std::string(size, 'e')})) << size;

  // Two threads share a port, one has its own and sends long ones.
  const auto ask = [](const Port& own, size_t length, char letter) {
    for (int i = 0; i < 20; ++i) {
      const std::string text = std::string(length, letter) + std::to_string(i);
      EXPECT_EQ(own.Send(test::kEcho, text), (Reply{0, text}));
    }
  };
  std::thread one([&] { ask(port, 3, 'a'); }), two([&] { ask(port, 70000, 'b'); });
  ask(Connect("echo"), kSeveralMegabytes, 'c');
  one.join();
  two.join();

  for (const char* piece : {"1", "2", "3", "4"}) EXPECT_EQ(port.Note(piece), (Reply{0}));
  EXPECT_EQ(port.Send(test::kNotes), (Reply{0, "1234"}));
}

TEST_F(MessagePortTest, AServerThatDiesEndsThePortAndItsNameIsFree) {
  for (const bool duringARequest : {true, false}) {
    Server server("mortal");
    const Port port = Connect("mortal");
    EXPECT_EQ(CFMessagePortCreateLocal(nullptr, CFSTR("mortal"), nullptr, nullptr, nullptr), nullptr);
    static int ends;
    ends = 0;
    CFMessagePortSetInvalidationCallBack(port.Get(), [](CFMessagePortRef, void*) { ++ends; });
    EXPECT_TRUE(port.IsValid());
    if (duringARequest)
      EXPECT_EQ(port.Send(test::kDie), Reply{kCFMessagePortBecameInvalidError});
    else
      server.End();
    EXPECT_FALSE(port.IsValid());
    EXPECT_EQ(port.Send(test::kEcho), Reply{kCFMessagePortIsInvalid});
    EXPECT_EQ(port.Note("x"), Reply{kCFMessagePortIsInvalid});
    EXPECT_EQ(ends, 1);
  }
  EXPECT_EQ(Port("mortal").Get(), nullptr);
}

TEST_F(MessagePortTest, ManyServersStartOnANameThatADeadOneLeftAndOneGetsIt) {
  for (int round = 0; round < 5; ++round) {
    std::vector<std::unique_ptr<Server>> servers;
    for (int i = 0; i < 6; ++i) servers.push_back(std::make_unique<Server>("contended"));
    const auto ended = [&] {
      return std::count_if(servers.begin(), servers.end(), [](const auto& s) { return s->HasEnded(); });
    };
    EXPECT_TRUE(test::WaitFor([&] { return ended() == 5; })) << ended();
    EXPECT_EQ(Connect("contended").Send(42), (Reply{0, "42"}));
    for (const auto& server : servers)
      if (server->HasEnded()) {
        EXPECT_EQ(server->Wait(), 3);
      }
  }  // killed: the name stays
}

TEST_F(MessagePortTest, AServerThatStandsStillCostsTheTimeOutAndNoLaterReply) {
  const Server server("still");
  const Port port = Connect("still");
  EXPECT_EQ(port.Send(1000), (Reply{0, "1000"}));
  server.Signal(SIGSTOP);
  EXPECT_EQ(port.Send(1001, {}, 20, 0.02), Reply{kCFMessagePortReceiveTimeout});
  EXPECT_EQ(port.Send(1002, std::string(kSeveralMegabytes, 'x'), 0.02), Reply{kCFMessagePortSendTimeout});
  server.Signal(SIGCONT);
  EXPECT_TRUE(port.IsValid());
  EXPECT_EQ(port.Send(1003), (Reply{0, "1003"}));
}

TEST_F(MessagePortTest, ClientsThatLieStallOrDoNotReadCostNobodyElse) {
  const Server server("busy");
  const Port honest = Connect("busy");
  EXPECT_EQ(honest.Send(1), (Reply{0, ""}));
  const size_t before = server.ResidentBytes();

  struct {
    const char* what;
    std::string bytes;
    bool closes;
  } const clients[] = {
      {"another magic", std::string("CFMQ\1\0\0\0\1\0\0\0\0\0\0\0", 16), true},
      {"64 MiB and a byte", std::string("CFMP\1\0\0\0\1\0\0\0\1\0\0\4", 16), true},
      {"64 MiB claimed", std::string("CFMP\1\0\0\0\1\0\0\0\0\0\0\4", 16), false},
      {"half a header", "CFMP\1", false},
      {"does not read 50 MB", std::string("CFMP\4\0\0\0\1\0\0\0\10\0\0\00050000000", 24), false},
      {"goes before its reply", std::string("CFMP\1\0\0\0\1\0\0\0\0\0\0\0", 16), false}};
  std::vector<platform::UniqueFd> sockets;
  for (const auto& client : clients) {
    const platform::UniqueFd& socket = sockets.emplace_back(test::ConnectTo(Folder() + "/busy"));
    ASSERT_EQ(send(socket.Get(), client.bytes.data(), client.bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(client.bytes.size()));
    EXPECT_EQ(honest.Send(99), (Reply{0, "99"})) << client.what;
    char byte;
    if (client.closes) {
      EXPECT_EQ(recv(socket.Get(), &byte, 1, 0), 0) << client.what;
    }
    if (client.what == clients[2].what) {
      EXPECT_LT(server.ResidentBytes(), before + 8'000'000);
    }
  }
  char byte;
  for (const size_t stalled : {size_t{2}, size_t{3}})
    EXPECT_EQ(recv(sockets[stalled].Get(), &byte, 1, 0), 0)
        << clients[stalled].what << ": dropped in the end";
  sockets.clear();
  EXPECT_EQ(honest.Send(100), (Reply{0, "100"}));
}

// ---- in one process

CFDataRef AskAgain(CFMessagePortRef, SInt32 id, CFDataRef data, void* remote) {
  if (id == 2) CFRunLoopStop(CFRunLoopGetCurrent());
  CFDataRef reply = nullptr;
  if (id == 0)
    EXPECT_EQ(CFMessagePortSendRequest(*static_cast<CFMessagePortRef*>(remote), 1, data, 20, 20,
                                       kCFRunLoopDefaultMode, &reply),
              0);
  else if (data != nullptr)
    reply = static_cast<CFDataRef>(CFRetain(data));
  return reply;
}

TEST_F(MessagePortTest, AProcessServesItsOwnPortWhileItAsks) {
  CFMessagePortRef asked = nullptr;
  CFMessagePortContext context{};
  context.info = &asked;
  const Owned<CFMessagePortRef> local(
      CFMessagePortCreateLocal(nullptr, CFSTR("own"), AskAgain, &context, nullptr));
  ASSERT_NE(local, nullptr);
  const Owned<CFRunLoopSourceRef> source(CFMessagePortCreateRunLoopSource(nullptr, local.get(), 0));
  CFRunLoopAddSource(CFRunLoopGetCurrent(), source.get(), kCFRunLoopDefaultMode);
  const Port port("own");
  asked = port.Get();
  const std::string large(kSeveralMegabytes, 'o');
  EXPECT_EQ(port.Send(0, large), (Reply{0, large})) << "its answer asks the same port";
  EXPECT_EQ(port.Send(1, "x", 1, 0.02, CFSTR("another mode")), Reply{kCFMessagePortReceiveTimeout});

  // One-way: received at once, answered when the mode comes.
  EXPECT_EQ(port.Send(2, large, 20, 0, nullptr), Reply{0});
  CFRunLoopRun();

  CFMessagePortInvalidate(local.get());
  EXPECT_FALSE(CFRunLoopSourceIsValid(source.get()));
  EXPECT_FALSE(port.IsValid());
  EXPECT_FALSE(std::filesystem::exists(Folder() + "/own"));
}

TEST_F(MessagePortTest, NamesThatAreNoFilesAreRefused) {
  for (const std::string& name : {std::string(), std::string("."), std::string(".."), std::string("a/b"),
                                  std::string("a\0b", 3), std::string(110, 'n')}) {
    const Owned<CFStringRef> text = test::MakeString(std::u16string(name.begin(), name.end()));
    EXPECT_EQ(CFMessagePortCreateLocal(nullptr, text.get(), nullptr, nullptr, nullptr), nullptr) << name;
    EXPECT_EQ(CFMessagePortCreateRemote(nullptr, text.get()), nullptr) << name;
  }
}

// Who may make and serve ports. Only root can be somebody else.
TEST_F(MessagePortTest, TheFolderIsEverybodysAndSomebodyElseIsNotTrusted) {
  {
    const Server server("mine");
    EXPECT_NE(Connect("mine").Get(), nullptr);
    EXPECT_EQ(test::FilePermissions(Folder()), mode_t{01777});
    EXPECT_EQ(test::FilePermissions(Folder() + "/mine"), mode_t{0666}) << "a user's observer reaches root";
  }
  if (geteuid() != 0) return;
  const Server server("theirs", std::to_string(kSomebodyElse));
  EXPECT_TRUE(test::WaitFor([&] { return std::filesystem::exists(Folder() + "/theirs"); }));
  EXPECT_TRUE(test::WaitFor([&] {
    return test::StandardErrorOf([] {
             EXPECT_EQ(Port("theirs").Get(), nullptr);
           }).find("not to be trusted") != std::string::npos;
  }));
  const Owned<CFMessagePortRef> ours(
      CFMessagePortCreateLocal(nullptr, CFSTR("theirs"), nullptr, nullptr, nullptr));
  EXPECT_NE(ours, nullptr) << "a name that somebody else has made keeps root from nothing";
  for (const auto& [mode, accepted] : {std::pair{mode_t{0777}, false}, {mode_t{01777}, true}}) {
    chown(Folder().c_str(), kSomebodyElse, kSomebodyElse);
    chmod(Folder().c_str(), mode);
    Owned<CFMessagePortRef> port;
    const std::string said = test::StandardErrorOf(
        [&] { port.reset(CFMessagePortCreateLocal(nullptr, CFSTR("new"), nullptr, nullptr, nullptr)); });
    EXPECT_EQ(port != nullptr, accepted);
    EXPECT_EQ(said.find("belongs to user 65534") == std::string::npos, accepted) << said;
  }
}

}  // namespace
