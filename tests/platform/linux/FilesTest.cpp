// The folder that is its user's alone.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/linux/PrivateFolder.h"
#include "tests/support/StandardError.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

TEST(FilesTest, APrivateFolderIsItsUsersAlone) {
  const test::TemporaryFolder folder;
  std::string path = folder / "own";
  const auto claim = [&] { return platform::ClaimPrivateFolder(path); };
  EXPECT_TRUE(claim()) << "made";
  EXPECT_EQ(test::FilePermissions(path), 0700U);
  EXPECT_TRUE(claim()) << "taken again";
  const auto expectRefused = [&](const std::string& why) {
    const std::string said = test::StandardErrorOf([&] { EXPECT_FALSE(claim()) << why; });
    EXPECT_NE(said.find(path), std::string::npos) << why;
  };
  for (const mode_t mode : {0710U, 0740U, 0702U, 01777U}) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    expectRefused("open to others: " + std::to_string(mode));
  }
  ASSERT_EQ(chmod(path.c_str(), S_IRWXU), 0);
  fs::rename(path, folder / "elsewhere");
  fs::create_directory_symlink(folder / "elsewhere", path);
  expectRefused("a link");
  fs::remove(path);
  std::ofstream{path};
  expectRefused("a file");
  // Root can give a folder away; for everybody else root's own is someone else's.
  path = chown(folder.Path().c_str(), 65534, 65534) == 0 ? folder.Path() : "/root";
  expectRefused("someone else's");
}

}  // namespace
