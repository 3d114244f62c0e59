#include "rcserv/System.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

namespace rcserv {
namespace {

TEST(SystemTest, TheModulePathIsTheProgramsFolder) {
  const std::string path = System::GetModulePath();
  EXPECT_EQ(path, std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/");
}

TEST(SystemTest, ADebugMessageSaysWhereItComesFrom) {
  struct Case {
    const char* file;
    std::string prefix;
  };
  const std::string longPath = "/0123456789/0123456789/0123456789/rcserv/Name.cpp";
  for (const Case& c : {Case{"rcserv/Name.cpp", "rcserv/Name.cpp:12: "}, Case{nullptr, "12: "},
                        Case{longPath.c_str(), "---" + longPath.substr(longPath.size() - 40) + ":12: "}}) {
    testing::internal::CaptureStderr();
    rcservDebugMsg(1, c.file, 12, "%s", std::string(300, 'x').c_str());
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_NE(line.find(c.prefix + std::string(255, 'x') + "\n"), std::string::npos) << line;
  }
}

}  // namespace
}  // namespace rcserv
