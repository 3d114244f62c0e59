// The plain text log, and what is said about failed calls.
#include "common/KCDebugging.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <string>

#include "common/KCException.h"
#include "common/KCFolderManager.h"
#include "tests/support/StandardError.h"
#include "tests/support/TemporaryFolder.h"

namespace {

// What went to the system log; the C library's function is replaced below.
std::string systemLogMessage;

}  // namespace

extern "C" void syslog(int priority, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  systemLogMessage = std::to_string(priority) + " " + text;
}

namespace {

using test::StandardErrorOf;
using testing::EndsWith;
using testing::HasSubstr;

class DebuggingTest : public testing::Test {
 protected:
  DebuggingTest() { SetRootFolder(root_.c_str()); }

  const test::TemporaryFolder folder_;
  const std::string root_ = folder_ / "root";
  const std::string log_ = root_ + "/Korvane.log";
};

TEST_F(DebuggingTest, TheLogGoesToStandardErrorAndToAFileForEveryUser) {
  const mode_t mask = umask(077);
  const std::string longText(3000, 'x');
  const std::string said = StandardErrorOf([&] { KCDebugging::DebugLog("%s %d\n", longText.c_str(), 5); });
  EXPECT_EQ(umask(mask), 077U) << "the mask is left alone";
  EXPECT_THAT(said,
              testing::MatchesRegex("[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} "
                                    "[0-9]{4} \\[[0-9]{5,}\\] tests_common : x+ 5\n"));
  EXPECT_THAT(said, HasSubstr(std::to_string(getpid()) + "] tests_common : " + longText));
  EXPECT_EQ(test::FileText(log_), said);
  EXPECT_EQ(test::FilePermissions(log_), 0666U);
}

TEST_F(DebuggingTest, WithoutAFileTheTextGoesToTheSystemLog) {
  std::filesystem::create_directories(log_);  // a folder cannot be written
  const std::string longText(400, 'x');
  EXPECT_THAT(StandardErrorOf([&] { KCDebugging::DebugLog("%s", longText.c_str()); }), EndsWith(longText));
  EXPECT_EQ(systemLogMessage, "1 [" + std::to_string(getpid()) + "] KORVANE : " + std::string(254, 'x'));
}

TEST_F(DebuggingTest, LevelsFromZeroToTheHighestAreWritten) {
  for (const int highest : {1, 3, 0}) {
    gLogLevel = highest;
    for (int level = -2; level <= 4; ++level) {
      const std::string said = StandardErrorOf([&] { KCDebugging::KVLog(level, "l%d", level); });
      EXPECT_EQ(!said.empty(), level >= 0 && level <= highest) << level << " of " << highest;
    }
  }
}

TEST_F(DebuggingTest, AThrowSaysWhereAndCarriesItsCode) {
  constexpr int kCode = 'A' | 'B' << 8 | 'C' << 16 | 'D' << 24;
  // An alert that nobody answers goes on.
  const std::pair<int, const char*> rows[] = {
      {0, ""},
      {1, "file.cpp:17: THROW 1145258561 ('ABCD')\n"},
      {2, "THROW: 1145258561: FILE: file.cpp, LINE: 17 [Go] [Abort] [Debug]\n"},
      {3, ""},
  };
  for (const auto& [action, expected] : rows) {
    gDebugAction = action;
    int code = 0;
    const std::string said = StandardErrorOf([&] {
      try {
        KCDebugging::DebugThrow(kCode, "file.cpp", 17);
      } catch (const KCException& exception) {
        code = exception.GetErrorCode();
      }
    });
    EXPECT_EQ(said, expected) << action;
    EXPECT_EQ(code, kCode) << action;
  }
}

TEST_F(DebuggingTest, ASignalIsOneLineAndOnlyWhenTheConditionHolds) {
  EXPECT_EQ(StandardErrorOf([] { KCSignalIf(false, "never %d", 1); }), "");
  EXPECT_THAT(StandardErrorOf([] { KCSignalIf(true, "%s", std::string(400, 'x').c_str()); }),
              EndsWith(" : <inline>::0: SIGNAL '" + std::string(255, 'x') + "'\n"));
  gDebugAction = 2;
  EXPECT_EQ(StandardErrorOf([] { KCDebugging::DebugSignal("two\nlines", "function", "file.cpp", 18); }),
            "SIGNAL: two lines: FILE: file.cpp, LINE: 18 [Go] [Abort] [Debug]\n");
}

}  // namespace
