// Where everything of the agent lies, installed and stand-alone, and when a folder cannot be made.
#include "common/KCFolderManager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "common/FolderPaths.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

// "R" stands for the root folder with a separator, "T" for the user's temporary folder with one.
struct Expected {
  const char *folder, *result;
  const char* aloneFolder = folder;
  const char* aloneResult = result;
};
constexpr Expected kExpected[] = {
    {"R/bin", "R/bin/kvnotify"},
    {"R/bin", "R/bin"},
    {"R/bin/kvchatclient.app", "/usr/bin/open \"R/bin/kvchatclient.app\""},
    {"R/data/pids", "R/data/pids"},
    {"R/bin/kvremotemenu.app", "R/bin/kvremotemenu.app"},
    {"R/bin/kvplacard.app", "R/bin/kvplacard.app"},
    {"R/Scans", "R/Scans"},
    {"R/sdcache", "R/sdcache"},
    {"/usr/local/Korvane/common/", "/usr/local/Korvane/common/", "R/usr/common", "R/usr/common"},
    {"R/bin/rcwebroot", "R/bin/rcwebroot"},
    {"R/", "R/"},
    {"R/", "R/Korvane.log"},
    {"R/data", "R/data/slmdata.plist"},
    {"R/data", "R/data/KvAppl3.ini"},
    {"R/data", "R/data/appsdata.db"},
    {"R/tmp", "R/tmp/userprofiles.plist"},
    {"R/tmp", "R/tmp/sipc.uds", "T/", "T/sipc.uds"},
    {"R/tmp", "R/tmp/sfb", "T/", "T/sfb"},
    {"R/tmp", "ipc://R/tmp/observe", "T/", "ipc://T/observe"},
    {"R/tmp/socket", "ipc://R/tmp/socket/usr"},
    {"R/tmp/socket", "ipc://R/tmp/socket/sys"},
    {"R/tmp/socket", "ipc://R/tmp/socket/susr"},
    {"R/tmp/socket", "ipc://R/tmp/socket/login"},
};
constexpr int kLocations = 23;
static_assert(std::size(kExpected) == kLocations);

FolderLocations At(int number) { return static_cast<FolderLocations>(number); }

// The folder's own name is not looked at: it may end like a mark.
std::string Fill(std::string pattern, const std::string& root, const std::string& temporary) {
  for (const auto& [mark, folder] : {std::pair{"R/", root}, std::pair{"T/", temporary}}) {
    const size_t found = pattern.find(mark);
    if (found != std::string::npos) return pattern.replace(found, 2, folder + "/");
  }
  return pattern;
}

TEST(FolderPathsTest, EveryLocationOfAnInstalledAgent) {
  const std::string root = "/Library/Application Support/Korvane";
  const FolderRoots roots{root + "/", false, [] { return std::string("/never/"); }};
  for (int number = 0; number < kLocations; ++number) {
    const auto plan = PlanFolder(At(number), roots);
    ASSERT_TRUE(plan) << number;
    EXPECT_EQ(plan->folder, Fill(kExpected[number].folder, root, "")) << number;
    EXPECT_EQ(FinishPath(*plan), Fill(kExpected[number].result, root, "")) << number;
  }
}

class FolderManagerTest : public testing::Test {
 protected:
  FolderManagerTest() {
    fs::create_directory(folder_ / "tmp");
    setenv("TMPDIR", (folder_ / "tmp").c_str(), 1);
  }

  const test::TemporaryFolder folder_;
  const std::string root_ = folder_ / "root";
};

TEST_F(FolderManagerTest, EveryLocationOfAStandAloneAgentIsMade) {
  EXPECT_FALSE(isStandALone());
  SetRootFolder((root_ + "/").c_str());
  EXPECT_TRUE(isStandALone());
  for (const int number : {kLocations, -1}) EXPECT_EQ(FetchFolder(At(number)), nullptr) << number;
  for (int number = 0; number < kLocations; ++number) {
    const char* path = FetchFolder(At(number));
    EXPECT_EQ(path, Fill(kExpected[number].aloneResult, root_, folder_ / "tmp")) << number;
    EXPECT_TRUE(fs::is_directory(Fill(kExpected[number].aloneFolder, root_, folder_ / "tmp"))) << number;
    char text[4096] = {};
    EXPECT_TRUE(CFStringGetCString(FetchFolderRef(At(number)), text, sizeof text, kCFStringEncodingUTF8));
    EXPECT_STREQ(text, path);
  }
}

TEST_F(FolderManagerTest, AFolderThatCannotBeMadeComesBackBareAndIsTriedAgain) {
  std::ofstream{root_};  // root's rights reach everywhere, but not into a file
  SetRootFolder(root_.c_str());
  const char* bare = FetchFolder(kFolderSocketUsr);
  EXPECT_EQ(bare, root_ + "/tmp/socket");
  EXPECT_EQ(FetchFolder(kFolderLogFile), root_);
  EXPECT_EQ(FetchFolderRef(kFolderLogFile), nullptr);
  fs::remove(root_);
  EXPECT_EQ(FetchFolder(kFolderLogFile), root_ + "/Korvane.log");
  EXPECT_EQ(FetchFolder(kFolderSocketUsr), "ipc://" + root_ + "/tmp/socket/usr");
  EXPECT_EQ(bare, root_ + "/tmp/socket") << "answers stay valid";
}

}  // namespace
