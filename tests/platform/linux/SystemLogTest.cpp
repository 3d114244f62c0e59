// The system log's clients: what goes to the log daemon, and the lines of log files and standard error.
#include <asl.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/StandardError.h"
#include "tests/support/TemporaryFolder.h"

namespace {

// What the log daemon of this test was sent; the C library's function is replaced below.
std::vector<std::string> daemonMessages;

}  // namespace

extern "C" void syslog(int priority, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  daemonMessages.push_back(std::to_string(priority) + " " + text);
}

namespace {

using testing::ElementsAre;

struct ClientCloser {
  void operator()(aslclient client) const { asl_close(client); }
};
using Client = std::unique_ptr<__asl_client, ClientCloser>;

class SystemLogTest : public testing::Test {
 protected:
  SystemLogTest() { EXPECT_EQ(asl_add_log_file(client_.get(), file_.Get()), 0); }

  // What each line says after its level.
  std::vector<std::string> Messages() const {
    std::istringstream file(test::FileText(path_));
    std::vector<std::string> messages;
    for (std::string line; std::getline(file, line);) messages.push_back(line.substr(line.find(">: ") + 3));
    return messages;
  }
  const test::TemporaryFolder folder_;
  const std::string path_ = folder_ / "log";
  const platform::UniqueFd file_{open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0600)};
  const Client client_{asl_open(nullptr, nullptr, ASL_OPT_NO_DELAY)};
};

TEST_F(SystemLogTest, ALineNamesTimeHostSenderAndLevel) {
  constexpr const char* kNames[] = {"Emergency", "Alert",  "Critical", "Error",
                                    "Warning",   "Notice", "Info",     "Debug"};
  for (int level = ASL_LEVEL_EMERG; level <= ASL_LEVEL_DEBUG; ++level) {
    ASSERT_EQ(ftruncate(file_.Get(), 0), 0);
    EXPECT_EQ(asl_log(client_.get(), nullptr, level, "%s %d", "level", level), 0);
    EXPECT_THAT(
        test::FileText(path_),
        testing::MatchesRegex("[A-Z][a-z]{2} [ 123][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [^ .]+ tests_linux\\[" +
                              std::to_string(getpid()) + "\\] <" + kNames[level] + ">: level " +
                              std::to_string(level) + "\n"));
  }
}

TEST_F(SystemLogTest, TheFilterHoldsForTheDaemonAlone) {
  const int initial = asl_set_filter(client_.get(), ASL_FILTER_MASK(ASL_LEVEL_ERR) | ASL_FILTER_MASK(7));
  EXPECT_EQ(initial, ASL_FILTER_MASK_UPTO(ASL_LEVEL_NOTICE));
  for (const int level : {2, 3, 4, 6, 7}) asl_log(client_.get(), nullptr, level, "m");
  EXPECT_THAT(daemonMessages, ElementsAre("3 m", "7 m"));
  EXPECT_EQ(Messages(), std::vector<std::string>(5, "m"));
}

TEST_F(SystemLogTest, ATextCannotForgeALine) {
  constexpr std::pair<const char*, const char*> kRows[] = {
      {"two\nlines", "two\n\tlines\n"},
      {"over\rwritten", "over\n\twritten\n"},
      {"end\n", "end\n\t\n"},
      {"\r\n", "\n\t\n\t\n"},
      {"rub\b\bout", "rub^H^Hout\n"},
      {"100% %s %n", "100% %s %n\n"},
      {"", "\n"},
  };
  for (const auto& [text, shown] : kRows) {
    ASSERT_EQ(ftruncate(file_.Get(), 0), 0);
    asl_log(client_.get(), nullptr, ASL_LEVEL_INFO, "%s", text);
    const std::string all = test::FileText(path_);
    EXPECT_EQ(all.substr(all.find(">: ") + 3), shown);
  }
}

TEST_F(SystemLogTest, StandardErrorGetsTheSameLine) {
  const std::string echo = test::StandardErrorOf([this] {
    const Client echoing{asl_open("other", "user", ASL_OPT_STDERR)};
    asl_add_log_file(echoing.get(), file_.Get());
    asl_log(echoing.get(), nullptr, ASL_LEVEL_DEBUG, "both");
  });
  EXPECT_EQ(echo, test::FileText(path_));
  EXPECT_THAT(echo, testing::HasSubstr(" other["));
}

TEST_F(SystemLogTest, RefusalsDoNoHarm) {
  EXPECT_EQ(asl_add_log_file(client_.get(), -1), -1);
  EXPECT_EQ(asl_open(nullptr, "mail", 0), nullptr);
  EXPECT_EQ(asl_log(client_.get(), nullptr, 8, "m"), -1);
  EXPECT_EQ(asl_log(client_.get(), nullptr, 3, nullptr), -1);
  EXPECT_EQ(asl_log(nullptr, nullptr, 3, "without a client"), 0);
  EXPECT_THAT(daemonMessages, ElementsAre("3 without a client"));
  EXPECT_EQ(test::FileText(path_), "");
}

TEST_F(SystemLogTest, LinesOfManyWritersStayWhole) {
  constexpr int kMessages = 150;
  std::vector<std::string> expected;
  std::vector<pid_t> children;
  for (char writer = 'a'; writer < 'e'; ++writer) {
    std::vector<std::string> texts;
    for (size_t number = 0; number < kMessages; ++number) texts.emplace_back(number * 37 % 6000, writer);
    for (int thread = 0; thread < 2; ++thread) expected.insert(expected.end(), texts.begin(), texts.end());
    children.push_back(fork());
    ASSERT_GE(children.back(), 0);
    if (children.back() != 0) continue;
    const auto write = [&] {
      for (const std::string& text : texts)
        asl_log(client_.get(), nullptr, ASL_LEVEL_DEBUG, "%s", text.c_str());
    };
    std::thread second(write);
    write();
    second.join();
    _exit(0);
  }
  for (const pid_t child : children) EXPECT_EQ(test::WaitForChild(child), 0);
  std::vector<std::string> seen = Messages();
  std::sort(seen.begin(), seen.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_TRUE(seen == expected) << seen.size() << " lines";
}

}  // namespace
