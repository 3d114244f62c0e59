// What a running observer makes of the records that it is sent.
#include "tests/observer/ObserverTest.h"
#include "tests/support/WaitFor.h"

namespace {

class CommandsTest : public test::ObserverTest {};

TEST_F(CommandsTest, OnlyWholeViewRecordsOfMessageOneChangeTheSession) {
  const std::string start("1\0\0\0\0\0\0\0", 8);
  const struct {
    const char* name;
    std::string record;
    int id;
    // Lines of the log so far, when the reply is there.
    int started;
    int stopped;
    int ignored;
  } cases[] = {
      {"end without a session", std::string("\2\0\0\0", 4), 1, 0, 0, 0},
      {"another message", start, 2, 0, 0, 0},
      {"start of 5 bytes", start.substr(0, 5), 1, 0, 0, 1},
      {"start of 1 byte", "1", 1, 0, 0, 2},
      {"tile view", std::string(8, '\0'), 1, 0, 0, 2},
      {"refresh", std::string("\12\0\0\0", 4), 1, 0, 0, 2},
      {"no such code", std::string(3000, '\xff'), 1, 0, 0, 2},
      {"start", start, 1, 1, 0, 2},
      {"start again", start, 1, 1, 0, 2},
      {"end of another message", std::string("\2\0\0\0", 4), 7, 1, 0, 2},
      {"end of 3 bytes", std::string("\2\0\0", 3), 1, 1, 0, 3},
      {"end", std::string("\2\0\0\0", 4), 1, 1, 1, 3},
      {"end again", std::string("\2\0\0\0", 4), 1, 1, 1, 3},
      {"start of a second session", start.substr(0, 6), 1, 2, 1, 3},
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

TEST_F(CommandsTest, TheScreenSocketExistsWhileAViewRuns) {
  StartObserver();
  for (int view = 0; view < 2; ++view) {
    StartView();
    EXPECT_TRUE(test::WaitFor([&] { return Exists(observer_.ScreenSocketPath()); }));
    EndView();
    EXPECT_FALSE(Exists(observer_.ScreenSocketPath()));
  }
}

}  // namespace
