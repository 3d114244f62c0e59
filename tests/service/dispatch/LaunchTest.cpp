// Programs started through a real dispatcher by the agent's own calls.
#include <gmock/gmock.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include "common/KCDispatch.h"
#include "common/KCFolderManager.h"
#include "common/LaunchRequest.h"
#include "platform/Programs.h"
#include "platform/System.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/DispatcherProcess.h"
#include "tests/support/WaitFor.h"

namespace {

using Texts = std::vector<std::string>;

std::string Text(CFStringRef string) {
  std::string text(4096, '\0');
  CFStringGetCString(string, text.data(), static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8);
  return text.c_str();
}

bool IsGone(pid_t pid) {
  return test::WaitFor([&] { return !platform::ProcessShortName(pid); });
}

class LaunchTest : public testing::Test {
 protected:
  LaunchTest() {
    setenv("LANG", "C.UTF-8", 1);
    setenv("SURPLUS", "1", 1);
    SetRootFolder(root_.c_str());
  }

  // The shell's result, and what it says.
  static int Lines(const std::string& script, Texts& lines) {
    return KCLaunchAndReadLinesWithBlock(("/bin/sh -c '" + script + "'").c_str(), kKVLaunchContextUsr,
                                         [&](CFStringRef line) { lines.push_back(Text(line)); });
  }
  const test::TemporaryFolder folder_;
  const std::string root_ = folder_ / "agent";
};

TEST_F(LaunchTest, ReportsStartOutputAndResultAsTheyWereAskedFor) {
  const test::DispatcherProcess dispatcher(KVDISPATCH, root_);
  Texts lines;
  EXPECT_EQ(Lines("echo one; echo; printf \"two words\" >&2; exit 3", lines), 3);
  EXPECT_THAT(lines, testing::ElementsAre("one", "", "two words"));

  const StCFTypeRef<CFMutableStringRef> output(CFStringCreateMutable(kCFAllocatorDefault, 0));
  EXPECT_EQ(KCLaunchAndWaitForResult("/bin/sh -c 'echo a; kill -TERM $$'", kKVLaunchContextUsr, output),
            128 + SIGTERM);
  EXPECT_EQ(Text(output), "a\n");
  EXPECT_EQ(KCLaunchAndWaitForResult("/bin/echo a", kKVLaunchContextUsr, nullptr), 0);

  EXPECT_EQ(KCLaunchAndWait("bin/sh -c 'exit 7'", kKVLaunchContextUsr), 7) << "taken from the root folder";
  EXPECT_EQ(KCLaunchAndWait("/bin/sh -c 'kill -9 $$'", kKVLaunchContextUsr), 128 + SIGKILL);
  EXPECT_EQ(KCLaunchAndWait((folder_ / "missing").c_str(), kKVLaunchContextUsr), -10);
  EXPECT_THAT(dispatcher.Log(), testing::HasSubstr("missing: No such file or directory"));

  // A background process has the pipe for longer than the program lives.
  lines.clear();
  EXPECT_EQ(Lines("sleep 600 & echo $!", lines), 0);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(kill(std::stoi(lines[0]), SIGKILL), 0);
  lines.clear();
  EXPECT_EQ(Lines("yes & echo $!", lines), 0);
  EXPECT_TRUE(IsGone(std::stoi(
      *std::find_if(lines.begin(), lines.end(), [](const std::string& line) { return line != "y"; }))));
}

TEST_F(LaunchTest, AProgramThatIsOnlyStartedIsReapedAtItsEnd) {
  const test::DispatcherProcess dispatcher(KVDISPATCH, root_);
  int pid = -1;
  EXPECT_EQ(KCLaunchAndGetPID("/bin/sleep 600", kKVLaunchContextUsr, &pid), 0);
  ASSERT_GT(pid, 1);
  EXPECT_EQ(getpgid(pid), pid) << "in a session of its own";
  EXPECT_EQ(kill(pid, SIGTERM), 0);
  EXPECT_TRUE(IsGone(pid));
  const std::string said = std::to_string(pid) + " (/bin/sleep) was ended by signal 15\n";
  EXPECT_TRUE(test::WaitFor([&] { return dispatcher.Log().find(said) != std::string::npos; }));
  EXPECT_EQ(KCLaunchAndGetPID("/bin/true", kKVLaunchContextUsr, &pid), 0);
  EXPECT_TRUE(IsGone(pid));
  EXPECT_EQ(KCLaunchAndGetPID("/nowhere", kKVLaunchContextUsr, &pid), -10);
  EXPECT_EQ(pid, 0);
}

TEST_F(LaunchTest, AProgramHasItsUsersRightsAndACleanEnvironment) {
  const bool root = geteuid() == 0;
  const gid_t surplus = 3;  // must not be handed down
  if (root) {
    ASSERT_EQ(setgroups(1, &surplus), 0);
  }
  const std::string user = root ? "games" : test::OwnUserName();
  const test::DispatcherProcess dispatcher(KVDISPATCH, root_,
                                           {"--user", user, "--display", ":77", "--xauthority", "/x",
                                            "--runtime-dir", "/r", "--bus", "unix:path=/b"});
  Texts lines;
  EXPECT_EQ(Lines("env | cut -d= -f1 | sort; echo $USER $LOGNAME $DISPLAY $XAUTHORITY $XDG_RUNTIME_DIR "
                  "$DBUS_SESSION_BUS_ADDRESS; id -un; umask; ls /proc/self/fd | wc -l; "
                  "grep -E ^Sig[BI] /proc/self/status",
                  lines),
            0);
  EXPECT_THAT(lines, testing::ElementsAre("DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "HOME", "LANG", "LOGNAME",
                                          "PATH", "PWD", "SHELL", "USER", "XAUTHORITY", "XDG_RUNTIME_DIR",
                                          user + " " + user + " :77 /x /r unix:path=/b", user, "0022", "4",
                                          testing::MatchesRegex("SigBlk:\t0+"),
                                          // The C library ignores a signal of its own in what it spawns.
                                          testing::MatchesRegex("SigIgn:\t0{8}[08]0{7}")));
  if (!root) return;
  lines.clear();
  EXPECT_EQ(Lines("id -G; grep -E ^Cap[EP] /proc/self/status | tr -d 0", lines), 0);
  EXPECT_THAT(lines, testing::ElementsAre("60", "CapPrm:\t", "CapEff:\t"));
  const auto owner = [&](const char* context) {
    struct stat found {};
    EXPECT_EQ(stat(dispatcher.Socket(context).c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0600U) << context;
    return found.st_uid;
  };
  EXPECT_EQ(owner("usr"), platform::FindAccount("games")->identity.user);
  for (const char* context : {"sys", "susr", "login"}) EXPECT_EQ(owner(context), 0U) << context;
}

TEST_F(LaunchTest, OtherContextsTakeTheSecretThatOnlyRootCanRead) {
  const test::DispatcherProcess dispatcher(KVDISPATCH, root_,
                                           {"--user", test::OwnUserName(), "--display", ":77"});
  const auto inChild = [](uid_t user) {
    return test::RunInChild([user] {
      if (user != geteuid() && setuid(user) != 0) _exit(99);
      _exit(KCLaunchAndWait("/bin/true", kKVLaunchContextSys) == -1 ? 0 : 1);
    });
  };
  if (geteuid() != 0) {
    EXPECT_EQ(inChild(geteuid()).status, 0);
    return;
  }
  EXPECT_EQ(test::FilePermissions(kDispatcherSecretFile), 0600U);
  // Another installation's dispatcher may come or go at this moment and change the secret.
  const auto answers = [](const char* command, KVLaunchContext context, int result) {
    return test::WaitFor([=] { return KCLaunchAndWait(command, context) == result; });
  };
  EXPECT_TRUE(answers("/bin/sh -c 'exit 1${DISPLAY#:}'", kKVLaunchContextSys, 1));
  EXPECT_TRUE(answers("/bin/sh -c 'exit 1${DISPLAY#:}'", kKVLaunchContextSusr, 177));
  EXPECT_TRUE(answers("/bin/sh -c 'exit 1${DISPLAY#:}'", kKVLaunchContextLogin, 177));
  EXPECT_EQ(inChild(65534).status, 0);
}

}  // namespace
