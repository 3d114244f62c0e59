#include "rcserv/MMapSurfaceApple.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>

#include "tests/support/TemporaryFolder.h"

namespace rcserv {
namespace {

class MMapSurfaceTest : public testing::Test {
 protected:
  [[nodiscard]] RefCountedPtrT<MMapSurface> Make() const {
    return MMapSurface::CreateSP(kScreenFormat, 100, 100, 200, name_, MMapSurface::FileMode::kCreate);
  }

  test::TemporaryFolder folder_;
  const std::string name_ = folder_ / "sfb0001000a";
};

TEST_F(MMapSurfaceTest, TheFileHasAllItsBlocksBeforeAnythingIsDrawn) {
  const auto surface = Make();
  ASSERT_TRUE(surface);
  struct stat file {};
  ASSERT_EQ(stat(name_.c_str(), &file), 0);
  EXPECT_EQ(file.st_size, 20'000);
  EXPECT_GE(file.st_blocks * 512, 20'000);
}

TEST_F(MMapSurfaceTest, WhenThereIsNoRoomForTheFileThatIsAnError) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit tight = {4096, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  testing::internal::CaptureStderr();
  const auto surface = Make();
  const std::string log = testing::internal::GetCapturedStderr();
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_FALSE(surface);
  EXPECT_THAT(log, testing::HasSubstr("Failed MMapSurface ftruncate: 27 (19.5KiB)"));
  EXPECT_FALSE(std::filesystem::exists(name_));
}

}  // namespace
}  // namespace rcserv
