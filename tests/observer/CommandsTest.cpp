// What a running observer makes of the records that it is sent.
#include "tests/observer/ObserverTest.h"

namespace {

using CommandsTest = test::ObserverTest;

TEST_F(CommandsTest, OnlyWholeViewRecordsOfMessageOneChangeTheSession) {
  const std::string start("1\0\0\0\0\0\0\0", 8);
  const std::string end("\2\0\0\0", 4);
  const struct {
    const char* name;
    std::string record;
    int id;
    // Lines of the log so far, when the reply is there.
    int started;
    int stopped;
    int ignored;
  } cases[] = {
      {"another message", start, 2, 0, 0, 0},
      {"start of 5 bytes", start.substr(0, 5), 1, 0, 0, 1},
      {"tile view", std::string(8, '\0'), 1, 0, 0, 1},
      {"settings alone", std::string("0\0\0\0\0\0", 6), 1, 0, 0, 1},
      {"no such code", std::string(3000, '\xff'), 1, 0, 0, 1},
      {"start", start, 1, 1, 0, 1},
      {"start again", start, 1, 1, 0, 1},
      {"end of another message", end, 7, 1, 0, 1},
      {"end of 3 bytes", end.substr(0, 3), 1, 1, 0, 2},
      {"end", end, 1, 1, 1, 2},
      {"start of a second session", start.substr(0, 6), 1, 2, 1, 2},
  };
  StartObserver();
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    Command(row.record, row.id);
    EXPECT_EQ(Logged("OculonHtml5: Started."), row.started);
    EXPECT_EQ(Logged("OculonHtml5: Stopped."), row.stopped);
    EXPECT_EQ(Logged("ignored"), row.ignored) << observer_.Log();
  }
}

}  // namespace
