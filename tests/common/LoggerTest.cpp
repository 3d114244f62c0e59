// The agent's log: filter, line ends, mirrored file, echo.
#include "common/KCasl.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "common/KCFolderManager.h"
#include "tests/support/StandardError.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using testing::ElementsAre;

// What each line of the file says after its level; a text's own line ends are kept.
std::vector<std::string> Messages(const std::string& path) {
  std::vector<std::string> messages;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    const size_t start = line.find(">: ");
    if (line.starts_with('\t') && !messages.empty())
      messages.back() += "\n" + line;
    else
      messages.push_back(line.substr(start == std::string::npos ? 0 : start + 3));
  }
  return messages;
}

class LoggerTest : public testing::Test {
 protected:
  LoggerTest() {
    ASLSetLogFile(log_.c_str());
    ASLWriteToStdErr(0);
  }

  const test::TemporaryFolder folder_;
  const std::string log_ = folder_ / "log";
};

TEST_F(LoggerTest, TheFilterDecidesByLevelUntilDebugModeIsOn) {
  struct Row {
    const char* mode;
    void (*prepare)();
    std::vector<int> logged;
  };
  const std::vector<int> all = {0, 1, 2, 3, 4, 5, 6, 7};
  const Row rows[] = {
      {"at first", [] {}, {0, 1, 2, 3, 6}},
      {"debug mode", [] { ASLSetDebug(1); }, all},
      {"debug mode off again", [] { ASLSetDebug(0); }, {0, 1, 2, 3, 6}},
      {"a mask", [] { ASLSetFilter(0x30); }, {4, 5}},
      {"nothing", [] { ASLSetFilter(0); }, {}},
      {"a mask with bit 7", [] { ASLSetFilter(0x81); }, all},
  };
  EXPECT_EQ(ASLGetFilter(), 0x4FU);
  for (const Row& row : rows) {
    row.prepare();
    std::ofstream{log_, std::ios::trunc};
    std::vector<std::string> expected;
    for (const int level : row.logged) expected.push_back("level " + std::to_string(level));
    for (int level = -1; level <= 8; ++level) ASLLogger(level, 1, true, "level %d", level);
    EXPECT_EQ(Messages(log_), expected) << row.mode;
  }
}

TEST_F(LoggerTest, TheFormatsLastLineEndIsDroppedAndItTakesObjects) {
  ASLLogger(6, 1, true, "none");
  ASLLogger(6, 1, true, "two\n\n");
  ASLLogger(6, 1, true, "%s", "an argument's own\n");
  ASLLogger(6, 1, true, "%s", "");
  ASLLogger(6, 1, true, "\u00e9 %@ %5.2f 100%%\n", CFSTR("object"), 2.5);
  ASLLogger(6, 1, true, "\xff not UTF-8");
  EXPECT_THAT(Messages(log_),
              ElementsAre("none", "two\n\t", "an argument's own\n\t", "", "\u00e9 object  2.50 100%"));
}

TEST_F(LoggerTest, TheEchoNeedsTheCallersOptionAndTheProcesss) {
  constexpr int kRows[][3] = {{1, 1, true}, {1, 0, false}, {0, 1, false}, {1, 0x100, false}};
  for (const auto& [on, option, echoed] : kRows) {
    ASLWriteToStdErr(on);
    const std::string echo =
        test::StandardErrorOf([option = option] { ASLLogger(6, option, false, "hello"); });
    EXPECT_EQ(echo.ends_with(" <Info>: hello\n"), echoed) << on << " " << option << echo;
    EXPECT_EQ(echo.empty(), !echoed);
  }
  EXPECT_EQ(test::FileText(log_), "");
}

TEST_F(LoggerTest, WithoutAFileOfItsOwnItIsTheAgents) {
  SetRootFolder(folder_.Path().c_str());
  ASLSetLogFile("");
  ASLSetLogFile(nullptr);
  ASLLogger(6, 1, true, "hello");
  EXPECT_THAT(Messages(folder_ / "Korvane.log"), ElementsAre("hello"));
}

}  // namespace
