// Process-ID files, and signals by name.
#include "common/KCPidUtils.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include "common/KCFolderManager.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

// In place of the C library's: a number that stands for other processes than one is a fault and goes nowhere.
extern "C" int kill(pid_t pid, int signal) noexcept {
  EXPECT_GT(pid, 1) << "kill for a group of processes";
  return pid > 1 ? static_cast<int>(syscall(SYS_kill, pid, signal)) : 0;
}

namespace {

namespace fs = std::filesystem;
using test::FileText;

constexpr const char* kOurName = "tests_common";

class PidUtilsTest : public testing::Test {
 protected:
  PidUtilsTest() { SetRootFolder(root_.c_str()); }

  const test::TemporaryFolder folder_;
  const std::string root_ = folder_ / "root";
  const std::string pids_ = root_ + "/data/pids";
  const std::string file_ = folder_ / "key.pid";
  const std::string ours_ = std::to_string(getpid());
};

TEST_F(PidUtilsTest, AProcessRecordsItselfForEverybody) {
  const std::string folder = folder_ / "made";
  const mode_t mask = umask(077);
  KCPutProcessPIDInFile(folder.c_str(), "key");
  EXPECT_EQ(umask(mask), 077U) << "the mask is left alone";
  EXPECT_EQ(test::FilePermissions(folder), 07777U);
  EXPECT_EQ(test::FilePermissions(folder + "/key.pid"), 0666U);
  std::ofstream(folder + "/key.pid") << "12345678901234567890";
  KCPutProcessPIDInFile(folder.c_str(), "key");
  EXPECT_EQ(FileText(folder + "/key.pid"), ours_) << "nothing of the old number is left";
}

TEST_F(PidUtilsTest, AFileReadsAsItsNumberOnlyWhileThatProcessHasTheName) {
  const test::WaitingProgram other({"/bin/cat"});
  test::WaitingProgram ended({"/bin/cat"});
  const std::string stale = std::to_string(ended.Pid());
  ended.End();
  const auto read = [this](const char* key) {
    return KCGetProcessPIDInFile(folder_.Path().c_str(), key, kOurName);
  };
  for (const std::string& content : {ours_, " \n\t" + ours_ + "garbage"}) {
    std::ofstream(file_) << content;
    EXPECT_EQ(read("key"), getpid()) << content;
  }
  for (const std::string& content :
       {std::to_string(other.Pid()), stale, std::string(), std::string("garbage"), std::string("0"),
        std::string("-1"), "-" + ours_, std::string(25, '9'), std::to_string((1LL << 32) + getpid()),
        std::string(100000, ' ') + ours_, std::string("\0", 1) + ours_}) {
    std::ofstream(file_) << content;
    EXPECT_EQ(read("key"), 0) << content.substr(0, 40);
    EXPECT_EQ(FileText(file_), content) << "reading changes nothing";
  }
  EXPECT_EQ(read("missing"), 0);
}

TEST_F(PidUtilsTest, TheFolderIsTheAgentsOrTheUsersInIt) {
  KCPutPIDForKeyToFile(kOurName, nullptr);
  EXPECT_EQ(FileText(pids_ + "/tests_common.pid"), ours_);
  EXPECT_EQ(KCGetPIDForKeyFromFile(kOurName, nullptr), getpid());
  EXPECT_EQ(KCDeletePIDForKeyFile(kOurName, nullptr), 0);

  KCPutPIDForKeyToFileWithConsoleUser(kOurName, CFSTR("user1"));
  EXPECT_EQ(FileText(pids_ + "/user1/tests_common.pid"), ours_);
  EXPECT_EQ(KCGetPIDForKeyFromFileWithConsoleUser(kOurName, CFSTR("user1")), getpid());
  EXPECT_EQ(KCGetPIDForKeyFromFileWithConsoleUser(kOurName, CFSTR("user2")), 0);
  EXPECT_EQ(KCDeletePIDForKeyFileWithConsoleUser(kOurName, CFSTR("user1")), 0);
}

TEST_F(PidUtilsTest, ALauncherDaemonIsEndedByItsChildsRecord) {
  const std::pair<const char*, int> rows[] = {{"kvdaemon", 128 + SIGTERM}, {"kvdaemons", 0}, {"kvdaemo", 0}};
  for (const auto& [name, status] : rows) {
    const std::string launcher = folder_ / name;
    fs::copy_file(LAUNCHER, launcher);
    const test::ChildResult result = test::RunInChild(
        [&] { execl(launcher.c_str(), launcher.c_str(), folder_.Path().c_str(), "key", nullptr); });
    EXPECT_EQ(result.status, status) << name;
    EXPECT_TRUE(fs::remove(file_)) << name;
  }
}

TEST_F(PidUtilsTest, ASignalReachesTheRecordedProcessOfThatName) {
  const std::string path = folder_ / "kvobserve";
  fs::copy_file("/bin/cat", path);
  test::WaitingProgram first({path});
  test::WaitingProgram second({path});
  EXPECT_FALSE(KCSignalProcessByName("kvobserve", SIGTERM)) << "not recorded";
  fs::create_directories(pids_ + "/user1");
  std::ofstream(pids_ + "/kvobserve.pid") << first.Pid();
  std::ofstream(pids_ + "/user1/kvobserve.pid") << second.Pid();
  std::ofstream(pids_ + "/other.pid") << first.Pid();
  EXPECT_FALSE(KCSignalProcessByName("other", SIGTERM)) << "another name";
  EXPECT_TRUE(KCSignalProcessByName("kvobserve", SIGUSR1));
  EXPECT_EQ(first.Wait(), 128 + SIGUSR1);
  EXPECT_TRUE(KCSignalProcessByNameWithConsoleUser("kvobserve", CFSTR("user1"), SIGUSR2));
  EXPECT_EQ(second.Wait(), 128 + SIGUSR2);
}

}  // namespace
