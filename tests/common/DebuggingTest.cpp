// What is said about failed calls.
#include "common/KCDebugging.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "common/KCException.h"
#include "common/KCFolderManager.h"
#include "tests/support/StandardError.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using test::StandardErrorOf;
using testing::EndsWith;

class DebuggingTest : public testing::Test {
 protected:
  DebuggingTest() { SetRootFolder(folder_.Path().c_str()); }

  const test::TemporaryFolder folder_;
};

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
