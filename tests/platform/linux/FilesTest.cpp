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
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

TEST(FilesTest, TheTemporaryFolderComesFromTheEnvironment) {
  struct Row {
    const char* tmpdir;
    const char* runtime;
    const char* folder;
  };
  constexpr Row kRows[] = {
      {"/a/b", "/run/user/7", "/a/b/"},
      {"/a/b/", "/run/user/7", "/a/b/"},
      {"", "/run/user/7", "/run/user/7/"},
      {nullptr, "/run/user/7/", "/run/user/7/"},
  };
  for (const Row& row : kRows) {
    row.tmpdir != nullptr ? setenv("TMPDIR", row.tmpdir, 1) : unsetenv("TMPDIR");
    setenv("XDG_RUNTIME_DIR", row.runtime, 1);
    EXPECT_EQ(platform::UserTemporaryFolder(), row.folder);
  }
}

TEST(FilesTest, WithoutAnEnvironmentTheFolderIsTheUsersOwn) {
  unsetenv("TMPDIR");
  setenv("XDG_RUNTIME_DIR", "", 1);
  const std::string expected = "/tmp/korvane-" + std::to_string(geteuid()) + "/";
  const bool wasThere = fs::exists(expected);
  EXPECT_EQ(platform::UserTemporaryFolder(), expected);
  struct stat found {};
  ASSERT_EQ(stat(expected.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777, static_cast<mode_t>(S_IRWXU));
  EXPECT_EQ(found.st_uid, geteuid());
  if (!wasThere) rmdir(expected.c_str());
}

class PrivateFolderTest : public testing::Test {
 protected:
  // Claims the folder and returns what was said about it; empty when it was taken.
  std::string Refusal() const {
    testing::internal::CaptureStderr();
    const bool claimed = platform::ClaimPrivateFolder(path_);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(claimed, said.empty()) << said;
    return said;
  }

  const test::TemporaryFolder folder_;
  const std::string path_ = folder_ / "own";
};

TEST_F(PrivateFolderTest, IsMadeForItsUserAloneAndTakenAgain) {
  EXPECT_EQ(Refusal(), "");
  struct stat found {};
  ASSERT_EQ(stat(path_.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777, static_cast<mode_t>(S_IRWXU));
  EXPECT_EQ(Refusal(), "");
}

TEST_F(PrivateFolderTest, OpenToOthersIsRefused) {
  ASSERT_EQ(mkdir(path_.c_str(), S_IRWXU), 0);
  for (const mode_t mode : {0710U, 0740U, 0702U, 01777U}) {
    ASSERT_EQ(chmod(path_.c_str(), mode), 0);
    EXPECT_NE(Refusal(), "") << std::oct << mode;
  }
}

TEST_F(PrivateFolderTest, AFileOrALinkInItsPlaceIsRefused) {
  std::ofstream{path_};
  EXPECT_NE(Refusal(), "");
  fs::remove(path_);
  fs::create_directory(folder_ / "elsewhere");
  ASSERT_EQ(chmod((folder_ / "elsewhere").c_str(), S_IRWXU), 0);
  fs::create_directory_symlink(folder_ / "elsewhere", path_);
  EXPECT_NE(Refusal(), "");
}

TEST_F(PrivateFolderTest, SomeoneElsesIsRefused) {
  // Root can give a folder away; for everybody else root's own is someone else's.
  const std::string foreign = geteuid() == 0 ? path_ : "/root";
  if (geteuid() == 0) {
    constexpr uid_t kNobody = 65534;
    ASSERT_EQ(mkdir(path_.c_str(), S_IRWXU), 0);
    ASSERT_EQ(chown(path_.c_str(), kNobody, kNobody), 0);
  }
  testing::internal::CaptureStderr();
  EXPECT_FALSE(platform::ClaimPrivateFolder(foreign));
  EXPECT_NE(testing::internal::GetCapturedStderr().find(foreign), std::string::npos);
}

TEST(FilesTest, MissingFoldersAreMade) {
  const test::TemporaryFolder folder;
  std::ofstream{folder / "file"};
  struct Row {
    std::string path;
    bool made;
  };
  const Row rows[] = {
      {folder / "a/b/c", true}, {folder / "a/b/c", true},   {folder / "d/e/", true},
      {folder / "file", false}, {folder / "file/f", false}, {"", false},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(platform::CreateFolders(row.path), row.made) << row.path;
    EXPECT_EQ(!row.path.empty() && fs::is_directory(row.path), row.made) << row.path;
  }
}

TEST(FilesTest, ReservedBlocksAreThere) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "blocks";
  constexpr int64_t kLength = 1'000'000;
  const platform::UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT, S_IRUSR | S_IWUSR));
  ASSERT_EQ(platform::ReserveFileBlocks(file.Get(), kLength), 0);
  struct stat found {};
  ASSERT_EQ(fstat(file.Get(), &found), 0);
  EXPECT_EQ(found.st_size, kLength);
  EXPECT_GE(found.st_blocks * 512, kLength);

  const platform::UniqueFd readOnly(open(path.c_str(), O_RDONLY));
  EXPECT_EQ(platform::ReserveFileBlocks(readOnly.Get(), kLength), EBADF);
  EXPECT_EQ(platform::ReserveFileBlocks(file.Get(), -1), EINVAL);
}

}  // namespace
