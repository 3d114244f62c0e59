#include "rcserv/MMapSurfaceApple.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstring>

#include "tests/support/TemporaryFolder.h"

namespace rcserv {
namespace {

using FileMode = MMapSurface::FileMode;
using testing::HasSubstr;

class MMapSurfaceTest : public testing::Test {
 protected:
  [[nodiscard]] RefCountedPtrT<MMapSurface> Make(int width, int height, int stride, FileMode mode) const {
    return MMapSurface::CreateSP(kScreenFormat, width, height, stride, name_, mode);
  }

  test::TemporaryFolder folder_;
  const std::string name_ = folder_ / "sfb0001000a";
};

TEST_F(MMapSurfaceTest, TheWriterMakesAZeroedFileWithAllItsBlocks) {
  const mode_t mask = umask(022);
  const auto surface = Make(300, 200, 600, FileMode::kCreate);
  umask(mask);
  ASSERT_TRUE(surface);
  struct stat file {};
  ASSERT_EQ(stat(name_.c_str(), &file), 0);
  EXPECT_EQ(file.st_size, 120'000);
  EXPECT_GE(file.st_blocks * 512, 120'000);
  EXPECT_EQ(file.st_mode & 0777, 0644U);
  const std::byte* bits = surface->BitsAt(0, 0);
  EXPECT_TRUE(std::all_of(bits, bits + 120'000, [](std::byte b) { return b == std::byte{0}; }));
}

TEST_F(MMapSurfaceTest, ANewFileTakesTheNameAndLeavesTheOldPagesAlone) {
  const auto first = Make(2, 1, 4, FileMode::kCreate);
  const auto reader = Make(2, 1, 4, FileMode::kOpen);
  const auto second = Make(2, 1, 4, FileMode::kCreate);
  ASSERT_TRUE(first && reader && second);
  std::memset(second->BitsAt(0, 0), 0x55, 4);
  EXPECT_EQ(*reader->BitsAt(0, 0), std::byte{0});
}

TEST_F(MMapSurfaceTest, EachFailureIsLoggedAndLeavesNothingBehind) {
  const struct {
    const char* what;
    int height, stride;
    FileMode mode;
    std::string name, message;
  } rows[] = {
      {"no such file", 2, 4, FileMode::kOpen, name_, "Failed MMapSurface open/create: 2 " + name_},
      {"no such folder", 2, 4, FileMode::kCreate, folder_ / "none/sfb", "Failed MMapSurface open/create: 2 "},
      {"negative", -2, 512, FileMode::kCreate, name_, "Failed MMapSurface ftruncate: 22 (-1.0KiB)"},
      {"no row", 0, 512, FileMode::kCreate, name_, "Failed MMapSurface mmap: 22 (0.0KiB)"},
  };
  for (const auto& row : rows) {
    testing::internal::CaptureStderr();
    EXPECT_FALSE(MMapSurface::CreateSP(kScreenFormat, 2, row.height, row.stride, row.name, row.mode))
        << row.what;
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(row.message)) << row.what;
    EXPECT_FALSE(std::filesystem::exists(row.name)) << row.what;
  }
}

TEST_F(MMapSurfaceTest, WhenThereIsNoRoomForTheFileThatIsAnError) {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &ignore, nullptr);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit tight = {4096, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  testing::internal::CaptureStderr();
  const auto surface = Make(100, 100, 200, FileMode::kCreate);
  const std::string log = testing::internal::GetCapturedStderr();
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_FALSE(surface);
  EXPECT_THAT(log, HasSubstr("Failed MMapSurface ftruncate: 27 (19.5KiB)"));
  EXPECT_FALSE(std::filesystem::exists(name_));
}

}  // namespace
}  // namespace rcserv
