// The tree that `cmake --install` lays out, and the dispatcher and the observer in it.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "common/KCDispatch.h"
#include "common/KCFolderManager.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/DispatcherProcess.h"
#include "tests/support/ObserverProcess.h"
#include "tests/support/XServer.h"

namespace {

namespace fs = std::filesystem;

class InstallTest : public testing::Test {
 protected:
  [[nodiscard]] int Install(const std::string& script) const {
    return test::WaitForChild(
        test::Spawn({"/bin/sh", "-c", "umask 077; " + script + " >" + (folder_ / "out") + " 2>&1"}));
  }
  [[nodiscard]] std::string Said() const { return test::FileText(folder_ / "out"); }

  static void ExpectTree(const std::string& root, const std::string& common) {
    const std::pair<std::string, mode_t> rows[] = {
        {root, 0755},
        {root + "/bin", 0755},
        {root + "/tmp", 01777},
        {root + "/tmp/socket", 0755},
        {root + "/data/pids", 01777},
        {root + "/Korvane.log", 0666},
        {root + "/Scans", 0755},
        {common, 0755},
        {root + "/bin/kvdispatch", 0755},
        {root + "/bin/kvscreen", 0755},
        {root + "/bin/kvobserve.app/Contents/MacOS/kvobserve", 0755}};
    for (const auto& [path, mode] : rows) EXPECT_EQ(test::FilePermissions(path), mode) << path;
  }

  const std::string command_ = "cmake --install " BUILD_FOLDER;
  const test::TemporaryFolder folder_;
};

TEST_F(InstallTest, AnObserverIsStartedThroughTheDispatcherOfTheSameTree) {
  const std::string root = folder_ / "agent";
  ASSERT_EQ(Install(command_ + " --prefix " + root), 0) << Said();
  ExpectTree(root, root + "/usr/common");
  std::ofstream(root + "/Korvane.log") << "kept\n";
  ASSERT_EQ(Install(command_ + " --prefix " + root), 0) << Said();
  ExpectTree(root, root + "/usr/common");
  EXPECT_EQ(test::FileText(root + "/Korvane.log"), "kept\n");

  const test::XServer server({.width = 320, .height = 200});
  fs::create_directory(folder_ / "tmp");
  setenv("TMPDIR", (folder_ / "tmp").c_str(), 1);
  SetRootFolder(root.c_str());
  const test::DispatcherProcess dispatcher(KVDISPATCH, root);
  int pid = 0;
  EXPECT_EQ(KCLaunchAndGetPID(("usr/bin/open \"" + root + "/bin/kvobserve.app\"").c_str(),
                              kKVLaunchContextUsr, &pid),
            0);
  EXPECT_TRUE(test::ConnectTo(folder_ / "tmp/observe"));
  EXPECT_EQ(server.Run({root + "/bin/kvscreen", "--png", folder_ / "screen.png"}), 0);
  EXPECT_EQ(kill(pid, SIGTERM), 0);
}

TEST_F(InstallTest, TheDefaultTreeIsLaidOutInAPackagersFolder) {
  const std::string destination = folder_ / "package";
  ASSERT_EQ(Install("DESTDIR=" + destination + " " + command_), 0) << Said();
  ExpectTree(destination + "/Library/Application Support/Korvane", destination + "/usr/local/Korvane/common");
  EXPECT_NE(Install(command_ + " --prefix " + folder_ / "Korvane"), 0);
  EXPECT_THAT(Said(), testing::HasSubstr("would take"));
}

}  // namespace
