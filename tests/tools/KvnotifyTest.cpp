// kvnotify as a process on a real display, answered as a user does it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "platform/Handles.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

using Command = std::vector<std::string>;

int StatusOf(const Command& command) { return test::WaitForChild(test::Spawn(command)); }

// Does it again until the program has ended, for it is deaf at first; gives its exit status.
int AnswerUntilItEnds(pid_t program, const test::XServer& server, const Command& answer) {
  int status = 0;
  const auto ended = [&] {
    EXPECT_EQ(server.Run(answer), 0);
    return waitpid(program, &status, WNOHANG) == program;
  };
  EXPECT_TRUE(test::WaitFor(ended));
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A button of a question of one line.
Command Click(const char* x) {
  return {"sh", "-c",
          std::string("window=$(xdotool search --class Kvnotify | tail -n 1) && xdotool mousemove --window "
                      "\"$window\" ") +
              x + " 78 click 1 || true"};
}

TEST(KvnotifyTest, TheUsersAnswerIsTheExitStatus) {
  const test::XServer server;
  const struct {
    const char* kind;
    Command answer;
    int status;
  } cases[] = {{"--ask", Click("340"), 0},
               {"--ask", Click("220"), 1},
               {"--ask", {"xdotool", "key", "Escape"}, 1},
               {"--ask", {"xdotool", "key", "Return"}, 1},  // Refuse has the focus
               {"--notice", Click("10"), 0}};
  for (const auto& test : cases) {
    const pid_t program = test::Spawn({KVNOTIFY, test.kind, "May I?", "--seconds", "60"});
    EXPECT_EQ(AnswerUntilItEnds(program, server, test.answer), test.status)
        << test.kind << " " << test.answer.back();
  }
}

// In time, and without a word.
bool Holds(const test::XServer& server, const std::string& condition) {
  return test::WaitFor([&] {
    return server.Run({"sh", "-c", "{ " + condition + "; } >/dev/null 2>&1"}) == 0;
  });
}

TEST(KvnotifyTest, AQuestionHasTheKeyboardWhereverThePointerIs) {
  const test::XServer server;
  test::XClient client;
  const std::string window = std::to_string(client.OpenWindow(0, 0, 100, 100, 0));
  client.Sync();
  const Command escape = {"xdotool", "key", "Escape"};
  ASSERT_EQ(server.Run({"xdotool", "mousemove", "1270", "710", "windowfocus", "--sync", window}), 0);
  EXPECT_EQ(AnswerUntilItEnds(test::Spawn({KVNOTIFY, "--ask", "May I?"}), server, escape), 1);
  EXPECT_TRUE(Holds(server, "[ $(xdotool getwindowfocus) = " + window + " ]")) << "it is given back";

  const pid_t manager = test::Spawn({"setpriv", "--pdeathsig", "TERM", "openbox"}, {.error = "/dev/null"});
  ASSERT_TRUE(Holds(server, "xdotool get_desktop")) << "is openbox installed?";
  const pid_t program = test::Spawn({KVNOTIFY, "--ask", "May I?"});
  // It gives the keyboard to no window that appears while somebody types.
  EXPECT_TRUE(Holds(server, "xdotool search --onlyvisible --class Kvnotify"));
  EXPECT_EQ(AnswerUntilItEnds(program, server, escape), 1);
  kill(manager, SIGTERM);
  test::WaitForChild(manager);
}

TEST(KvnotifyTest, AQuestionIsTakenBackWhenThePipeThatStandsForItIsClosed) {
  const test::XServer server;
  const test::TemporaryFolder folder;
  const std::string path = folder / "asks";
  const Command ask = {KVNOTIFY, "--ask", "May I?", "--seconds", "60", "--while-open", path};
  EXPECT_EQ(StatusOf(ask), 1) << "taken back before it began";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(StatusOf(ask), 1) << "whoever asked has been killed before it began";
  platform::UniqueFd pipe(open(path.c_str(), O_RDWR | O_CLOEXEC));
  const pid_t program = test::Spawn(ask);
  EXPECT_EQ(server.Run({"xdotool", "search", "--sync", "--class", "Kvnotify"}), 0);
  EXPECT_EQ(waitpid(program, nullptr, WNOHANG), 0);
  pipe.Reset();
  EXPECT_EQ(test::WaitForChild(program), 1);
}

TEST(KvnotifyTest, EverythingElseIsNoConsent) {
  test::XServer server;
  EXPECT_EQ(StatusOf({KVNOTIFY, "--ask", "May I?", "--seconds", "1"}), 1);
  EXPECT_EQ(StatusOf({KVNOTIFY, "--ask", "broken \xff text", "--seconds", "1"}), 1);
  for (const Command& wrong :
       {Command{KVNOTIFY}, {KVNOTIFY, "--ask", ""}, {KVNOTIFY, "--ask", "a", "--seconds", "x"}})
    EXPECT_EQ(StatusOf(wrong), 2);

  const pid_t program = test::Spawn({KVNOTIFY, "--ask", "May I?", "--seconds", "60"});
  EXPECT_EQ(server.Run({"xdotool", "search", "--sync", "--class", "Kvnotify"}), 0);
  server.Kill();
  EXPECT_EQ(test::WaitForChild(program), 1);
  EXPECT_EQ(StatusOf({KVNOTIFY, "--ask", "May I?"}), 3);
}

}  // namespace
