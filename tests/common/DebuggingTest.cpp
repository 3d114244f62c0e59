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
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "common/KCException.h"
#include "common/KCFolderManager.h"
#include "common/KCPidUtils.h"
#include "tests/support/TemporaryFolder.h"

namespace {

// What went to the system log; the C library's function is replaced below.
std::string& LastSystemLogMessage() {
  static std::string message;
  return message;
}

}  // namespace

extern "C" void syslog(int priority, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  LastSystemLogMessage() = std::to_string(priority) + " " + text;
}

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class DebuggingTest : public testing::Test {
 protected:
  DebuggingTest() { SetRootFolder(root_.c_str()); }

  // Standard error while `body` runs.
  template <class Body>
  static std::string Said(const Body& body) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
  }
  std::string Log() const {
    std::ifstream file(root_ + "/Korvane.log");
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const test::TemporaryFolder folder_;
  const std::string root_ = folder_ / "root";
};

TEST_F(DebuggingTest, TheLogGoesToStandardErrorAndToTheFile) {
  const std::string said = Said([] { KCDebugging::DebugLog("%s %d\n", "text", 5); });
  const std::regex shape(
      "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4} "
      "\\[([0-9]{5,})\\] tests_common : text 5\n");
  std::smatch parts;
  ASSERT_TRUE(std::regex_match(said, parts, shape)) << said;
  EXPECT_EQ(std::stol(parts[1]), getpid());
  EXPECT_EQ(Log(), said);

  const std::string longText(3000, 'x');
  EXPECT_THAT(Said([&] { KCDebugging::DebugLog("%s", longText.c_str()); }), EndsWith(" : " + longText));
}

TEST_F(DebuggingTest, AFileThatIsMadeIsForEveryUsersPrograms) {
  const mode_t mask = umask(077);
  Said([] { KCDebugging::DebugLog("x\n"); });
  EXPECT_EQ(umask(mask), 077U) << "the mask is left alone";
  struct stat found {};
  ASSERT_EQ(stat((root_ + "/Korvane.log").c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777, 0666U);
}

TEST_F(DebuggingTest, WithoutAFileTheTextGoesToTheSystemLog) {
  std::filesystem::create_directories(root_ + "/Korvane.log");  // a folder cannot be written
  const std::string longText(400, 'x');
  EXPECT_THAT(Said([&] { KCDebugging::DebugLog("%s", longText.c_str()); }), EndsWith(longText));
  EXPECT_EQ(LastSystemLogMessage(),
            "1 [" + std::to_string(getpid()) + "] KORVANE : " + std::string(254, 'x'));
}

TEST_F(DebuggingTest, LevelsFromZeroToTheHighestAreWritten) {
  for (const int highest : {1, 3, 0}) {
    gLogLevel = highest;
    for (int level = -2; level <= 4; ++level) {
      const std::string said = Said([&] { KCDebugging::KVLog(level, "l%d", level); });
      EXPECT_EQ(!said.empty(), level >= 0 && level <= highest) << level << " of " << highest;
    }
  }
}

TEST_F(DebuggingTest, AThrowSaysWhereAndCarriesItsCode) {
  constexpr int kCode = 'A' | 'B' << 8 | 'C' << 16 | 'D' << 24;
  struct Row {
    int action;
    const char* said;
  };
  constexpr Row kRows[] = {
      {1, "file.cpp:17: THROW 1145258561 ('ABCD')\n"},
      {0, ""},
      {3, ""},
  };
  for (const Row& row : kRows) {
    gDebugAction = row.action;
    int code = 0;
    EXPECT_EQ(Said([&] {
                try {
                  KCDebugging::DebugThrow(kCode, "file.cpp", 17);
                } catch (const KCException& exception) {
                  code = exception.GetErrorCode();
                  EXPECT_EQ(exception.GetErrorString(), nullptr);
                }
              }),
              row.said);
    EXPECT_EQ(code, kCode);
  }
}

TEST_F(DebuggingTest, AnAlertNobodyAnswersGoesOn) {
  gDebugAction = 2;
  std::string said = Said([] { EXPECT_THROW(KCDebugging::DebugThrow(-1, "file.cpp", 17), KCException); });
  EXPECT_THAT(said, HasSubstr("THROW: 4294967295"));
  EXPECT_THAT(said, HasSubstr("FILE: file.cpp, LINE: 17"));
  said = Said([] { KCDebugging::DebugSignal("message", "function", "file.cpp", 18); });
  EXPECT_THAT(said, HasSubstr("SIGNAL: message"));
  EXPECT_THAT(said, HasSubstr("FILE: file.cpp, LINE: 18"));
}

TEST_F(DebuggingTest, SignalIfReportsOnlyWhenTheConditionHolds) {
  EXPECT_THAT(Said([] { KCSignalIf(false, "never %d", 1); }), IsEmpty());
  EXPECT_THAT(Said([] { KCSignalIf(true, "RCRectQueue::Enqueue:: pthread_mutex_lock err=%ld", 22L); }),
              EndsWith(" : <inline>::0: SIGNAL 'RCRectQueue::Enqueue:: pthread_mutex_lock err=22'\n"));
  EXPECT_THAT(Said([] { KCSignalIf(true, "%s", std::string(400, 'x').c_str()); }),
              EndsWith(" SIGNAL '" + std::string(255, 'x') + "'\n"));
}

TEST_F(DebuggingTest, ThreadsThatAskAtOnceGetTheSameName) {
  std::vector<const char*> names(6);
  std::vector<std::thread> threads;
  for (const char*& name : names) threads.emplace_back([&name] { name = KCDebugGetProcessName(getpid()); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(names, std::vector<const char*>(names.size(), names.front()));
  EXPECT_STREQ(names.front(), "tests_common");
  EXPECT_EQ(KCDebugGetProcessName(1), names.front()) << "looked up once";
}

}  // namespace
