// What a real dispatcher does with bad requests, bad clients, bundles and rivals.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zmq.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "common/KCDispatch.h"
#include "common/KCFolderManager.h"
#include "common/LaunchReplies.h"
#include "common/ZmqHandles.h"
#include "platform/System.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/DispatcherProcess.h"
#include "tests/support/WaitFor.h"

namespace {

namespace fs = std::filesystem;
using test::FileText;
using testing::HasSubstr;

// Says what it likes to a dispatcher, and reads when it likes.
class BareClient {
 public:
  explicit BareClient(const std::string& path, int queue = 1000) {
    socket_.SetOption(ZMQ_LINGER, 0);
    socket_.SetOption(ZMQ_RCVHWM, queue);
    EXPECT_EQ(zmq_connect(socket_.Get(), ("ipc://" + path).c_str()), 0);
  }

  void Send(const std::vector<std::string>& frames) {
    for (size_t i = 0; i < frames.size(); ++i)
      EXPECT_TRUE(ZmqSend(socket_.Get(), frames[i], i + 1 < frames.size() ? ZMQ_SNDMORE : 0));
  }
  // The reply's dictionary; null when none comes.
  StCFTypeRef<CFDictionaryRef> Receive(int timeoutMs = 20000) {
    return getResultDictionary(socket_.Get(), timeoutMs);
  }

 private:
  ZmqContext context_;
  ZmqSocket socket_{context_.Get(), ZMQ_DEALER};
};

std::string List(const std::string& entries) {
  return R"(<?xml version="1.0"?><plist version="1.0"><dict>)" + entries + "</dict></plist>";
}

std::string ShellRequest(const std::string& script) {
  return List(
      "<key>command</key><string>/bin/sh</string><key>mode</key><string>stream</string>"
      "<key>parameters</key><array><string>-c</string><string>" +
      script + "</string></array>");
}

class DispatcherTest : public testing::Test {
 protected:
  DispatcherTest() { SetRootFolder(root_.c_str()); }

  static bool Serves() { return KCLaunchAndWait("/bin/true", kKVLaunchContextUsr) == 0; }

  const test::TemporaryFolder folder_;
  const std::string root_ = folder_ / "agent";
};

TEST_F(DispatcherTest, ARequestThatMakesNoSenseGetsItsCodeAndALine) {
  const test::DispatcherProcess dispatcher(KVDISPATCH, root_);
  const std::string command = "<key>command</key><string>/bin/true</string>";
  const struct {
    const char* what;
    std::vector<std::string> frames;
    int code;
    const char* line;
  } cases[] = {
      {"no list", {"", "rubbish"}, -2, "not a property list"},
      {"nothing", {"", ""}, -2, "not a property list"},
      {"no dictionary", {"", "<plist version=\"1.0\"><array/></plist>"}, -2, "not a property list"},
      {"no empty frame", {List(command)}, -2, "in two frames"},
      {"one frame too many", {"", List(command), "more"}, -2, "in two frames"},
      {"no command", {"", List("")}, -3, "its command"},
      {"an empty command", {"", List("<key>command</key><string></string>")}, -3, "its command"},
      {"a number", {"", List("<key>command</key><integer>1</integer>")}, -3, "its command"},
      {"one parameter",
       {"", List(command + "<key>parameters</key><string>a</string>")},
       -4,
       "its parameters"},
      {"a parameter that is none",
       {"", List(command + "<key>parameters</key><array><string>a</string><true/></array>")},
       -4,
       "its parameters"},
      {"an unknown mode", {"", List(command + "<key>mode</key><string>line</string>")}, -5, "its mode"},
      {"a secret that is no text", {"", List(command + "<key>secret</key><true/>")}, -6, "its secret"},
      {"too much", {"", List(command + std::string(1 << 20, ' '))}, -7, "too large"},
  };
  BareClient client(dispatcher.Socket("usr"));
  for (const auto& [what, frames, code, line] : cases) {
    const size_t before = dispatcher.Log().size();
    client.Send(frames);
    const StCFTypeRef<CFDictionaryRef> reply = client.Receive();
    ASSERT_NE(reply.get(), nullptr) << what;
    EXPECT_EQ(getResultCode(reply), code) << what;
    EXPECT_FALSE(isStarted(reply)) << what;
    EXPECT_THAT(dispatcher.Log().substr(before), HasSubstr(line)) << what;
  }

  BareClient stranger(dispatcher.Socket("sys"));
  const std::string guess = "00000000-0000-0000-0000-000000000000";
  stranger.Send({"", List(command + "<key>secret</key><string>" + guess + "</string>")});
  EXPECT_EQ(getResultCode(stranger.Receive()), geteuid() == 0 ? -6 : -11);
  EXPECT_THAT(dispatcher.Log(), testing::Not(HasSubstr(guess)));
  EXPECT_TRUE(Serves());
}

TEST_F(DispatcherTest, AClientThatGoesAwayLeavesItsProgramToItsEnd) {
  const test::DispatcherProcess dispatcher(KVDISPATCH, root_);
  const std::string done = folder_ / "done";
  pid_t pid = 0;
  {
    BareClient client(dispatcher.Socket("usr"));
    client.Send({"", ShellRequest("yes | head -c 20000000; echo yes >" + done)});
    pid = getResultPID(client.Receive());
    EXPECT_TRUE(isDataBlock(client.Receive()));
  }
  EXPECT_TRUE(Serves());
  EXPECT_TRUE(test::WaitFor([&] { return FileText(done) == "yes\n"; }));
  EXPECT_TRUE(test::WaitFor([&] { return !platform::ProcessShortName(pid); }));
}

TEST_F(DispatcherTest, AClientThatDoesNotReadHoldsUpNobodyAndIsGivenUp) {
  constexpr size_t kWritten = 64 << 20;
  constexpr size_t kMostThatIsKept = 16 << 20;
  const test::DispatcherProcess dispatcher(KVDISPATCH, root_,
                                           {"--user", test::OwnUserName(), "--patience", "1"});
  const std::string done = folder_ / "done";
  BareClient client(dispatcher.Socket("usr"), 1);
  client.Send({"", ShellRequest("yes | head -c " + std::to_string(kWritten) + "; echo yes >" + done)});
  EXPECT_TRUE(isStarted(client.Receive()));
  EXPECT_TRUE(Serves());
  EXPECT_TRUE(test::WaitFor([&] { return FileText(done) == "yes\n"; }));
  EXPECT_THAT(dispatcher.Log(), HasSubstr("reads nothing"));

  size_t kept = 0;
  for (auto reply = client.Receive(500); reply.get() != nullptr && kept < kWritten;
       reply = client.Receive(500))
    kept += static_cast<size_t>(CFStringGetLength(getDataBlock(reply)));
  EXPECT_GT(kept, 0U);
  EXPECT_LT(kept, kMostThatIsKept);
}

TEST_F(DispatcherTest, TheOpenToolStartsABundlesExecutable) {
  const test::DispatcherProcess dispatcher(KVDISPATCH, root_);
  const std::string said = folder_ / "said";
  const auto add = [&](const std::string& bundle, const std::string& program) {
    const std::string path = folder_ / (bundle + "/Contents/MacOS/" + program);
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << "#!/bin/sh\necho " << program << " $$ >" << said << "~; mv " << said << "~ "
                        << said;
    chmod(path.c_str(), 0755);
    return folder_ / (bundle + "/Contents/Info.plist");
  };
  std::ofstream(add("a b.app", "prog")) << List("<key>CFBundleExecutable</key><string>prog</string>");
  (void)add("plain.app", "plain");
  EXPECT_EQ(mkfifo(add("pipe.app", "pipe").c_str(), 0600), 0);
  std::ofstream(add("sly.app", "sly"))
      << List("<key>CFBundleExecutable</key><string>../../../plain.app/Contents/MacOS/plain</string>");
  (void)add("empty.app", "other");

  const struct {
    const char* command;
    const char* bundle;
    bool wait;
    int result;
    const char* says;  // the program that ran, or what the log says
  } cases[] = {
      {"usr/bin/open", "a b.app", false, 0, "prog"},
      {"/usr/bin/open", "plain.app/", true, 0, "plain"},
      {"usr/bin/open", "pipe.app", false, 0, "pipe"},
      {"usr/bin/open", "missing.app", false, 1, "no bundle: "},
      {"usr/bin/open", "sly.app", false, 1, "no executable of its own"},
      {"usr/bin/open", "empty.app", true, 1, "cannot start "},
  };
  for (const auto& [command, bundle, wait, result, says] : cases) {
    fs::remove(said);
    int pid = 0;
    const std::string line = std::string(command) + " \"" + folder_ / bundle + "\"";
    EXPECT_EQ(KCLaunchWithParams(line.c_str(), kKVLaunchContextUsr, wait, nullptr, false, &pid), result)
        << bundle;
    if (result != 0) {
      EXPECT_THAT(dispatcher.Log(), HasSubstr(says)) << bundle;
      EXPECT_FALSE(fs::exists(said)) << bundle;
      continue;
    }
    EXPECT_TRUE(test::WaitFor([&] { return fs::exists(said); })) << bundle;
    EXPECT_EQ(FileText(said), std::string(says) + " " + std::to_string(pid) + "\n");
  }
}

TEST_F(DispatcherTest, ASecondOneRefusesAndTheFirstLeavesNothingButItsPrograms) {
  test::DispatcherProcess dispatcher(KVDISPATCH, root_);
  EXPECT_EQ(FileText(root_ + "/data/pids/kvdispatch.pid"), std::to_string(dispatcher.Pid()));
  const std::string errors = folder_ / "errors";
  EXPECT_EQ(test::WaitForChild(test::Spawn({dispatcher.Program()}, {.error = errors})), 1);
  EXPECT_THAT(FileText(errors),
              HasSubstr("kvdispatch: already running as process " + std::to_string(dispatcher.Pid()) + "\n"));
  int pid = 0;
  ASSERT_EQ(KCLaunchAndGetPID("/bin/sleep 600", kKVLaunchContextUsr, &pid), 0);

  EXPECT_EQ(dispatcher.End(), 0);
  for (const char* name : {"usr", "sys", "susr", "login"}) EXPECT_FALSE(fs::exists(dispatcher.Socket(name)));
  EXPECT_FALSE(fs::exists(root_ + "/data/pids/kvdispatch.pid"));
  EXPECT_EQ(kill(pid, SIGTERM), 0);
  gLaunchReplyTimeoutMs = 50;
  EXPECT_EQ(KCLaunch("/bin/true", kKVLaunchContextUsr), -1) << "nobody is there";
}

}  // namespace
