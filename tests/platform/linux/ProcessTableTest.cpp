// Name and owner of other processes.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/System.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

TEST(ProcessTableTest, TheShortNameHasUpToSixteenCharacters) {
  const test::TemporaryFolder folder;
  const std::string script = folder / "a-script-with-a-long-name";
  std::ofstream(script) << "#!/bin/sh\nread line\n";
  ASSERT_EQ(chmod(script.c_str(), S_IRWXU), 0);
  const std::pair<const char*, const char*> rows[] = {
      {"kv pids) 1", "kv pids) 1"},
      {"abcdefghijklmno", "abcdefghijklmno"},             // 15: fills the kernel's name
      {"abcdefghijklmnopqrstu", "abcdefghijklmnop"},      // more
      {"a-script-with-a-long-name", "a-script-with-a"}};  // not its interpreter's
  for (const auto& [file, shortName] : rows) {
    const std::string path = folder / file;
    fs::copy_file("/bin/cat", path, fs::copy_options::skip_existing);
    const test::WaitingProgram program({path});
    EXPECT_EQ(platform::ProcessShortName(program.Pid()), shortName) << file;
    EXPECT_EQ(platform::ProcessOwner(program.Pid()), getuid()) << file;
    fs::remove(path);
    EXPECT_EQ(platform::ProcessShortName(program.Pid()), shortName) << file << ", removed meanwhile";
  }
}

}  // namespace
