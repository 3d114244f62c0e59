// Name and owner of other processes.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "platform/System.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

TEST(ProcessTableTest, TheShortNameHasUpToSixteenCharacters) {
  struct Row {
    const char* file;
    const char* shortName;
  };
  constexpr Row kRows[] = {
      {"kvd", "kvd"},
      {"kv pids) 1", "kv pids) 1"},
      {"abcdefghijklmno", "abcdefghijklmno"},        // 15: fills the kernel's name
      {"abcdefghijklmnop", "abcdefghijklmnop"},      // 16
      {"abcdefghijklmnopqrstu", "abcdefghijklmnop"}  // more
  };
  const test::TemporaryFolder folder;
  for (const Row& row : kRows) {
    const std::string path = folder / row.file;
    fs::copy_file("/bin/cat", path);
    const test::WaitingProgram program({path});
    EXPECT_EQ(platform::ProcessShortName(program.Pid()), row.shortName) << row.file;
    fs::remove(path);
    EXPECT_EQ(platform::ProcessShortName(program.Pid()), row.shortName) << row.file << ", removed meanwhile";
  }
}

TEST(ProcessTableTest, AScriptIsNotNamedAfterItsInterpreter) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "a-script-with-a-long-name";
  std::ofstream(path) << "#!/bin/sh\nread line\n";
  ASSERT_EQ(chmod(path.c_str(), S_IRWXU), 0);
  const test::WaitingProgram program({path});
  EXPECT_EQ(platform::ProcessShortName(program.Pid()), "a-script-with-a");
}

TEST(ProcessTableTest, ThisProcessHasItsOwnerAndName) {
  EXPECT_EQ(platform::ProcessOwner(getpid()), getuid());
  EXPECT_EQ(platform::ProcessShortName(getpid()), "tests_linux");
}

void ExpectNoProcess(pid_t pid) {
  EXPECT_EQ(platform::ProcessShortName(pid), std::nullopt) << pid;
  EXPECT_EQ(platform::ProcessOwner(pid), std::nullopt) << pid;
}

TEST(ProcessTableTest, NumbersOfNoProcessGiveNothing) {
  test::WaitingProgram program({"/bin/cat"});
  const pid_t ended = program.Pid();
  program.End();
  for (const pid_t pid : {ended, 0, -1, -getpid()}) ExpectNoProcess(pid);
}

TEST(ProcessTableTest, AThreadIsNoProcess) {
  std::promise<pid_t> number;
  std::promise<void> done;
  std::thread thread([&] {
    number.set_value(gettid());
    done.get_future().wait();
  });
  ExpectNoProcess(number.get_future().get());
  done.set_value();
  thread.join();
}

}  // namespace
