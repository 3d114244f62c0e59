// Process-ID files, signals by name, names of processes and users.
#include "common/KCPidUtils.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "common/KCFolderManager.h"
#include "common/StCFTypeRef.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kOurName = "tests_common";

class PidUtilsTest : public testing::Test {
 protected:
  PidUtilsTest() { SetRootFolder(root_.c_str()); }

  void Write(const std::string& text) const { std::ofstream(file_, std::ios::binary) << text; }
  static std::string Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static mode_t Permissions(const std::string& path) {
    struct stat found {};
    EXPECT_EQ(stat(path.c_str(), &found), 0) << path;
    return found.st_mode & 07777;
  }

  const test::TemporaryFolder folder_;
  const std::string root_ = folder_ / "root";
  const std::string pids_ = root_ + "/data/pids";
  const std::string file_ = folder_ / "key.pid";
};

TEST_F(PidUtilsTest, AProcessRecordsItselfForEverybody) {
  const std::string folder = folder_ / "made";
  const mode_t mask = umask(077);
  KCPutProcessPIDInFile(folder.c_str(), "key");
  EXPECT_EQ(umask(mask), 077U) << "the mask is left alone";
  EXPECT_EQ(Read(folder + "/key.pid"), std::to_string(getpid()));
  EXPECT_EQ(Permissions(folder), 07777U);
  EXPECT_EQ(Permissions(folder + "/key.pid"), 0666U);

  std::ofstream(folder + "/key.pid") << "12345678901234567890";
  KCPutProcessPIDInFile(folder.c_str(), "key");
  EXPECT_EQ(Read(folder + "/key.pid"), std::to_string(getpid())) << "nothing of the old number is left";
  EXPECT_EQ(KCGetProcessPIDInFile(folder.c_str(), "key", kOurName), getpid());
}

TEST_F(PidUtilsTest, WhatCannotBeWrittenIsLeftOut) {
  KCPutProcessPIDInFile((folder_ / "two/levels").c_str(), "key");
  EXPECT_FALSE(fs::exists(folder_ / "two"));
  const std::string target = folder_ / "target";
  std::ofstream(target) << "precious";
  fs::create_symlink(target, file_);
  KCPutProcessPIDInFile(folder_.Path().c_str(), "key");
  EXPECT_EQ(Read(target), "precious");
}

TEST_F(PidUtilsTest, AFileReadsAsItsNumberOnlyWhileThatProcessHasTheName) {
  const test::WaitingProgram other({"/bin/cat"});
  test::WaitingProgram ended({"/bin/cat"});
  const std::string stale = std::to_string(ended.Pid());
  ended.End();
  const std::string ours = std::to_string(getpid());
  struct Row {
    std::string content;
    pid_t pid;
  };
  const Row rows[] = {
      {ours, getpid()},
      {" \n\t" + ours, getpid()},
      {ours + "garbage", getpid()},
      {std::to_string(other.Pid()), 0},  // another process's name
      {stale, 0},
      {"", 0},
      {"garbage", 0},
      {"0", 0},
      {"-1", 0},
      {"-" + ours, 0},
      {"99999999999999999999999", 0},
      {std::to_string((1LL << 32) + getpid()), 0},
      {std::string(100000, ' ') + ours, 0},
      {std::string("\0", 1) + ours, 0},
  };
  for (const Row& row : rows) {
    Write(row.content);
    EXPECT_EQ(KCGetProcessPIDInFile(folder_.Path().c_str(), "key", kOurName), row.pid)
        << row.content.substr(0, 40);
    EXPECT_EQ(Read(file_), row.content) << "reading changes nothing";
  }
  EXPECT_EQ(KCGetProcessPIDInFile(folder_.Path().c_str(), "missing", kOurName), 0);
  ASSERT_EQ(mkfifo((folder_ / "fifo.pid").c_str(), 0600), 0);
  EXPECT_EQ(KCGetProcessPIDInFile(folder_.Path().c_str(), "fifo", kOurName), 0) << "and it does not wait";
}

TEST_F(PidUtilsTest, NamesCountWithSixteenCharacters) {
  const std::string path = folder_ / "abcdefghijklmnopqrst";
  fs::copy_file("/bin/cat", path);
  const test::WaitingProgram program({path});
  EXPECT_TRUE(KCVerifyPIDForKeyFile(program.Pid(), "abcdefghijklmnop"));
  EXPECT_TRUE(KCVerifyPIDForKeyFile(program.Pid(), "abcdefghijklmnopXYZ"));
  EXPECT_FALSE(KCVerifyPIDForKeyFile(program.Pid(), "abcdefghijklmno"));
  EXPECT_FALSE(KCVerifyPIDForKeyFile(program.Pid(), ""));
  EXPECT_FALSE(KCVerifyPIDForKeyFile(0, ""));

  char name[kKCProcessNameSize];
  EXPECT_EQ(KCGetProcessNameForPID(program.Pid(), name), name);
  EXPECT_STREQ(name, "abcdefghijklmnop");
  EXPECT_EQ(KCGetProcessNameForPID(-5, name), nullptr);
  EXPECT_STREQ(name, "");
}

TEST_F(PidUtilsTest, TheFolderIsTheAgentsOrTheUsersInIt) {
  KCPutPIDForKeyToFile(kOurName, nullptr);
  EXPECT_EQ(Read(pids_ + "/tests_common.pid"), std::to_string(getpid()));
  EXPECT_EQ(KCGetPIDForKeyFromFile(kOurName, nullptr), getpid());
  EXPECT_EQ(KCDeletePIDForKeyFile(kOurName, nullptr), 0);
  EXPECT_EQ(KCDeletePIDForKeyFile(kOurName, nullptr), -1);
  EXPECT_EQ(KCGetPIDForKeyFromFile(kOurName, nullptr), 0);

  KCPutPIDForKeyToFileWithConsoleUser(kOurName, CFSTR("user1"));
  EXPECT_EQ(Read(pids_ + "/user1/tests_common.pid"), std::to_string(getpid()));
  EXPECT_EQ(KCGetPIDForKeyFromFileWithConsoleUser(kOurName, CFSTR("user1")), getpid());
  EXPECT_EQ(KCGetPIDForKeyFromFileWithConsoleUser(kOurName, CFSTR("user2")), 0);
  EXPECT_EQ(KCDeletePIDForKeyFileWithConsoleUser(kOurName, CFSTR("user1")), 0);
  EXPECT_EQ(KCDeletePIDForKeyFileWithConsoleUser(kOurName, CFSTR("user1")), -1);
}

TEST_F(PidUtilsTest, WithoutAUserItIsTheConsoleUser) {
  const StCFTypeRef<CFStringRef> user{KCCopyConsoleUser()};
  ASSERT_NE(user, nullptr);
  char own[PATH_MAX];
  char expected[PATH_MAX];
  KCCreateFileDirectoryWithConsoleUser(nullptr, own, sizeof own);
  KCCreateFileDirectoryWithConsoleUser(user, expected, sizeof expected);
  EXPECT_STREQ(own, expected);
  EXPECT_THAT(own, testing::StartsWith(pids_ + "/"));
  EXPECT_FALSE(fs::exists(own)) << "nothing is made";

  char cut[8];
  KCCreateFileDirectoryWithConsoleUser(CFSTR("user1"), cut, sizeof cut);
  EXPECT_EQ(cut, (pids_ + "/user1").substr(0, 7));
  EXPECT_EQ(KCCopySessionUser(), nullptr);
}

TEST_F(PidUtilsTest, ALauncherDaemonIsEndedByItsChildsRecord) {
  struct Row {
    const char* name;
    int status;
  };
  for (const Row& row : {Row{"kvdaemon", 128 + SIGTERM}, Row{"kvdaemons", 0}, Row{"kvdaemo", 0}}) {
    const std::string launcher = folder_ / row.name;
    fs::copy_file(LAUNCHER, launcher);
    const pid_t pid = fork();
    if (pid == 0) {
      execl(launcher.c_str(), launcher.c_str(), folder_.Path().c_str(), "key", nullptr);
      _exit(127);
    }
    EXPECT_EQ(test::WaitForChild(pid), row.status) << row.name;
    EXPECT_NE(Read(file_), "") << row.name;
    fs::remove(file_);
  }
}

TEST_F(PidUtilsTest, ASignalReachesTheRecordedProcessOfThatName) {
  const std::string path = folder_ / "kvobserve";
  fs::copy_file("/bin/cat", path);
  test::WaitingProgram first({path});
  test::WaitingProgram second({path});
  fs::create_directories(pids_ + "/user1");
  FetchFolder(kFolderPids);
  EXPECT_FALSE(KCSignalProcessByName("kvobserve", SIGTERM)) << "not recorded";
  std::ofstream(pids_ + "/kvobserve.pid") << first.Pid();
  std::ofstream(pids_ + "/user1/kvobserve.pid") << second.Pid();
  std::ofstream(pids_ + "/other.pid") << first.Pid();

  EXPECT_FALSE(KCSignalProcessByName("other", SIGTERM)) << "another name";
  EXPECT_TRUE(KCSignalProcessByName("kvobserve", SIGUSR1));
  EXPECT_EQ(first.Wait(), 128 + SIGUSR1);
  EXPECT_TRUE(KCSignalProcessByNameWithConsoleUser("kvobserve", CFSTR("user1"), SIGUSR2));
  EXPECT_EQ(second.Wait(), 128 + SIGUSR2);
}

TEST_F(PidUtilsTest, ASignalThatCannotBeSentIsLogged) {
  test::WaitingProgram ended({"/bin/cat"});
  const pid_t gone = ended.Pid();
  ended.End();
  // The system only looks for the process then: 0 and -1 would reach every process that this one may signal.
  constexpr int kNoSignal = 0;
  for (const pid_t pid : {gone, 0, -1}) {
    testing::internal::CaptureStderr();
    EXPECT_FALSE(KCSignalProcessByPid(pid, kNoSignal));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("KCSignalProcessByPid(" + std::to_string(pid) + ", 0) err=3\n"));
  }
}

TEST_F(PidUtilsTest, TheUserNameIsTheAccountsFullName) {
  const passwd* account = getpwuid(getuid());
  ASSERT_NE(account, nullptr);
  EXPECT_EQ(KCGetUserNameForPID(getpid()), std::string(account->pw_gecos));
  EXPECT_EQ(KCGetUserNameForPID(-1), nullptr);
}

TEST_F(PidUtilsTest, TheProcessListIsSearchedToItsEndAndGivesZero) {
  EXPECT_EQ(KCGetPIDForKey("no-process-has-this-name"), 0);
  const std::string witness = folder_ / "witness";
  testing::internal::CaptureStderr();
  EXPECT_EQ(KCGetPIDForKey(("x; touch " + witness).c_str()), 0);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("KCGetPIDForKey"));
  EXPECT_FALSE(fs::exists(witness)) << "a name is no command";
}

TEST_F(PidUtilsTest, TheEnvironmentCanSayNetBooted) {
  setenv("KORVANE_PROVISIONING_NETBOOTED", "1", 1);
  const bool kernel = KCIsNetBooted();
  setenv("KORVANE_PROVISIONING_NETBOOTED", "TRUE ", 1);
  EXPECT_EQ(KCIsNetBooted(), kernel);
  setenv("KORVANE_PROVISIONING_NETBOOTED", "True", 1);
  EXPECT_TRUE(KCIsNetBooted());
}

}  // namespace
