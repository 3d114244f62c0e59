// Folders of the user's own, missing folders, reserved blocks.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/Handles.h"
#include "platform/System.h"
#include "platform/linux/PrivateFolder.h"
#include "tests/support/StandardError.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

TEST(FilesTest, TheTemporaryFolderComesFromTheEnvironment) {
  const std::string own = "/tmp/korvane-" + std::to_string(geteuid()) + "/";
  const bool wasThere = fs::exists(own);
  const struct {
    const char* tmpdir;
    const char* runtime;
    std::string folder;
  } rows[] = {
      {"/a/b", "/run/user/7", "/a/b/"},
      {"/a/b/", "/run/user/7", "/a/b/"},
      {"", "/run/user/7", "/run/user/7/"},
      {"", "", own},
  };
  for (const auto& row : rows) {
    setenv("TMPDIR", row.tmpdir, 1);
    setenv("XDG_RUNTIME_DIR", row.runtime, 1);
    EXPECT_EQ(platform::UserTemporaryFolder(), row.folder);
  }
  EXPECT_EQ(test::FilePermissions(own), 0700U);
  if (!wasThere) rmdir(own.c_str());
}

TEST(FilesTest, APrivateFolderIsItsUsersAlone) {
  const test::TemporaryFolder folder;
  std::string path = folder / "own";
  const auto claim = [&] { return platform::ClaimPrivateFolder(path); };
  EXPECT_EQ(test::StandardErrorOf([&] { EXPECT_TRUE(claim()) << "made"; }), "");
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
  constexpr uid_t kNobody = 65534;
  path = chown(folder.Path().c_str(), kNobody, kNobody) == 0 ? folder.Path() : "/root";
  expectRefused("someone else's");
}

TEST(FilesTest, MissingFoldersAreMade) {
  const test::TemporaryFolder folder;
  std::ofstream{folder / "file"};
  const std::pair<std::string, bool> rows[] = {
      {folder / "a/b/c", true}, {folder / "a/b/c", true},   {folder / "d/e/", true},
      {folder / "file", false}, {folder / "file/f", false}, {"", false},
  };
  for (const auto& [path, made] : rows) {
    EXPECT_EQ(platform::CreateFolders(path), made) << path;
    EXPECT_EQ(fs::is_directory(path), made) << path;
  }
}

TEST(FilesTest, ReservedBlocksAreThere) {
  const test::TemporaryFolder folder;
  constexpr int64_t kLength = 1'000'000;
  const platform::UniqueFd file(open((folder / "blocks").c_str(), O_RDWR | O_CREAT, S_IRUSR | S_IWUSR));
  ASSERT_EQ(platform::ReserveFileBlocks(file.Get(), kLength), 0);
  struct stat found {};
  ASSERT_EQ(fstat(file.Get(), &found), 0);
  EXPECT_EQ(found.st_size, kLength);
  EXPECT_GE(found.st_blocks * 512, kLength);
  EXPECT_EQ(platform::ReserveFileBlocks(file.Get(), -1), EINVAL);
}

}  // namespace
