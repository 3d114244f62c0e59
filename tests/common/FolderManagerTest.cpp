// Where everything of the agent lies, installed and stand-alone, and when a folder cannot be made.
#include "common/KCFolderManager.h"

#include <gtest/gtest.h>

#include <barrier>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "common/FolderPaths.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

// "R" stands for the root folder with a separator, "T" for the user's temporary folder with one.
struct Expected {
  const char* folder;       // installed
  const char* result;       // installed
  const char* aloneFolder;  // stand-alone; null when as installed
  const char* aloneResult;
};
constexpr Expected kExpected[] = {
    {"R/bin", "R/bin/kvnotify", nullptr, nullptr},
    {"R/bin", "R/bin", nullptr, nullptr},
    {"R/bin/kvchatclient.app", "/usr/bin/open \"R/bin/kvchatclient.app\"", nullptr, nullptr},
    {"R/data/pids", "R/data/pids", nullptr, nullptr},
    {"R/bin/kvremotemenu.app", "R/bin/kvremotemenu.app", nullptr, nullptr},
    {"R/bin/kvplacard.app", "R/bin/kvplacard.app", nullptr, nullptr},
    {"R/Scans", "R/Scans", nullptr, nullptr},
    {"R/sdcache", "R/sdcache", nullptr, nullptr},
    {"/usr/local/Korvane/common/", "/usr/local/Korvane/common/", "R/usr/common", "R/usr/common"},
    {"R/bin/rcwebroot", "R/bin/rcwebroot", nullptr, nullptr},
    {"R/", "R/", nullptr, nullptr},
    {"R/", "R/Korvane.log", nullptr, nullptr},
    {"R/data", "R/data/slmdata.plist", nullptr, nullptr},
    {"R/data", "R/data/KvAppl3.ini", nullptr, nullptr},
    {"R/data", "R/data/appsdata.db", nullptr, nullptr},
    {"R/tmp", "R/tmp/userprofiles.plist", nullptr, nullptr},
    {"R/tmp", "R/tmp/sipc.uds", "T/", "T/sipc.uds"},
    {"R/tmp", "R/tmp/sfb", "T/", "T/sfb"},
    {"R/tmp", "ipc://R/tmp/observe", "T/", "ipc://T/observe"},
    {"R/tmp/socket", "ipc://R/tmp/socket/usr", nullptr, nullptr},
    {"R/tmp/socket", "ipc://R/tmp/socket/sys", nullptr, nullptr},
    {"R/tmp/socket", "ipc://R/tmp/socket/susr", nullptr, nullptr},
    {"R/tmp/socket", "ipc://R/tmp/socket/login", nullptr, nullptr},
};
constexpr int kLocations = 23;
static_assert(std::size(kExpected) == kLocations);

FolderLocations At(int number) { return static_cast<FolderLocations>(number); }

std::string Fill(std::string pattern, const std::string& root, const std::string& temporary) {
  const auto replace = [&pattern](const std::string& mark, const std::string& folder) {
    if (const size_t found = pattern.find(mark); found != std::string::npos)
      pattern.replace(found, mark.size(), folder + "/");
  };
  replace("R/", root);
  replace("T/", temporary);
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

TEST(FolderPathsTest, SeparatorsAreNormalised) {
  struct Row {
    const char* folder;
    const char* name;
    const char* path;
  };
  constexpr Row kRows[] = {
      {"/a", "b", "/a/b"},
      {"/a/", "b", "/a/b"},
      {"/a", "/b", "/a/b"},
      {"/a//", "//b//", "/a/b"},
      {"//a//b", "c", "/a/b/c"},
      {"/", "a", "/a"},
      {"/", "", "/"},
      {"", "a", "a"},
      {"a", "b/c/", "a/b/c"},
      {"/a b", "c d", "/a b/c d"},
  };
  for (const Row& row : kRows) EXPECT_EQ(AppendPathComponent(row.folder, row.name), row.path) << row.folder;
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

TEST_F(FolderManagerTest, EveryLocationOfAStandAloneAgentIsMadeAndKept) {
  EXPECT_FALSE(isStandALone());
  SetRootFolder((root_ + "/").c_str());
  EXPECT_TRUE(isStandALone());
  for (int number = 0; number < kLocations; ++number) {
    const Expected& row = kExpected[number];
    const char* path = FetchFolder(At(number));
    EXPECT_EQ(path, Fill(row.aloneResult != nullptr ? row.aloneResult : row.result, root_, folder_ / "tmp"));
    const std::string made =
        Fill(row.aloneFolder != nullptr ? row.aloneFolder : row.folder, root_, folder_ / "tmp");
    EXPECT_TRUE(fs::is_directory(made)) << number;

    const CFStringRef reference = FetchFolderRef(At(number));
    ASSERT_NE(reference, nullptr) << number;
    char text[4096];
    EXPECT_TRUE(CFStringGetCString(reference, text, sizeof text, kCFStringEncodingUTF8));
    EXPECT_STREQ(text, path);
    EXPECT_EQ(FetchFolderRef(At(number)), reference) << "the kept object itself";
    EXPECT_EQ(FetchFolder(At(number)), path) << "the kept text itself";
  }
}

TEST_F(FolderManagerTest, ANumberThatIsNoLocationGivesNull) {
  SetRootFolder(root_.c_str());
  for (const int number : {23, 24, -1, 1000000}) {
    EXPECT_EQ(FetchFolder(At(number)), nullptr) << number;
    EXPECT_EQ(FetchFolderRef(At(number)), nullptr) << number;
  }
}

TEST_F(FolderManagerTest, AKeptLocationIsNotLookedAtAgain) {
  SetRootFolder(root_.c_str());
  const char* pids = FetchFolder(kFolderPids);
  fs::remove_all(root_);
  SetRootFolder((folder_ / "other").c_str());
  EXPECT_EQ(FetchFolder(kFolderPids), pids);
  EXPECT_EQ(pids, root_ + "/data/pids");
  EXPECT_FALSE(fs::exists(pids));
  EXPECT_EQ(FetchFolder(kFolderBin), folder_ / "other/bin");
}

TEST_F(FolderManagerTest, AFolderThatCannotBeMadeComesBackBareAndIsTriedAgain) {
  std::ofstream{root_};  // root's rights reach everywhere, but not into a file
  SetRootFolder(root_.c_str());
  const char* bareRoot = FetchFolder(kFolderLogFile);
  const char* bareSocket = FetchFolder(kFolderSocketUsr);
  EXPECT_EQ(bareRoot, root_);
  EXPECT_EQ(bareSocket, root_ + "/tmp/socket");
  EXPECT_EQ(FetchFolder(kFolderChatClient), root_ + "/bin/kvchatclient.app");
  EXPECT_EQ(FetchFolderRef(kFolderLogFile), nullptr);

  fs::remove(root_);
  EXPECT_EQ(FetchFolder(kFolderLogFile), root_ + "/Korvane.log");
  EXPECT_EQ(FetchFolder(kFolderSocketUsr), "ipc://" + root_ + "/tmp/socket/usr");
  EXPECT_EQ(bareRoot, root_) << "answers stay valid";
  EXPECT_EQ(bareSocket, root_ + "/tmp/socket");
}

TEST_F(FolderManagerTest, ARootThatIsNoTextChangesNothing) {
  SetRootFolder(nullptr);
  EXPECT_FALSE(isStandALone());
  testing::internal::CaptureStderr();
  SetRootFolder("/tmp/\xff\xfe");
  EXPECT_NE(testing::internal::GetCapturedStderr().find("SetRootFolder"), std::string::npos);
  EXPECT_FALSE(isStandALone());
}

TEST_F(FolderManagerTest, ThreadsThatAskAtOnceGetTheSameAnswer) {
  SetRootFolder(root_.c_str());
  constexpr size_t kThreads = 8;
  std::vector<std::vector<const void*>> seen(kThreads);
  std::barrier together(kThreads);
  std::vector<std::thread> threads;
  for (std::vector<const void*>& mine : seen)
    threads.emplace_back([&mine, &together] {
      for (int number = 0; number < kLocations; ++number) {
        together.arrive_and_wait();
        mine.push_back(FetchFolder(At(number)));
        mine.push_back(FetchFolderRef(At(number)));
      }
    });
  for (std::thread& thread : threads) thread.join();
  for (const std::vector<const void*>& mine : seen) EXPECT_EQ(mine, seen.front());
}

}  // namespace
