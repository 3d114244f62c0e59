// The system log's clients: what goes to the log daemon, and the lines of log files and standard error.
#include <asl.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace {

// What the log daemon of this test was sent; the C library's functions are replaced below.
struct Daemon {
  bool open = false;
  std::vector<std::string> messages;
};
Daemon& TheDaemon() {
  static Daemon daemon;
  return daemon;
}

}  // namespace

extern "C" {
void openlog(const char*, int options, int) {
  TheDaemon().open = true;
  EXPECT_EQ(options & LOG_CONS, 0) << "the console is not ours to write to";
}
void closelog() { TheDaemon().open = false; }
void syslog(int priority, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  EXPECT_TRUE(TheDaemon().open);
  TheDaemon().messages.push_back(std::to_string(priority) + " " + text);
}
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct ClientCloser {
  void operator()(aslclient client) const { asl_close(client); }
};
using Client = std::unique_ptr<__asl_client, ClientCloser>;

class SystemLogTest : public testing::Test {
 protected:
  SystemLogTest() { EXPECT_EQ(asl_add_log_file(client_.get(), file_.Get()), 0); }

  std::vector<std::string> Lines() const {
    std::ifstream file(path_);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }

  const test::TemporaryFolder folder_;
  const std::string path_ = folder_ / "log";
  const platform::UniqueFd file_{open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0600)};
  const Client client_{asl_open(nullptr, nullptr, ASL_OPT_NO_DELAY)};
};

TEST_F(SystemLogTest, ALineNamesTimeHostSenderAndLevel) {
  constexpr const char* kNames[] = {"Emergency", "Alert",  "Critical", "Error",
                                    "Warning",   "Notice", "Info",     "Debug"};
  for (int level = ASL_LEVEL_EMERG; level <= ASL_LEVEL_DEBUG; ++level)
    EXPECT_EQ(asl_log(client_.get(), nullptr, level, "%s %d", "level", level), 0);

  const std::vector<std::string> lines = Lines();
  ASSERT_EQ(lines.size(), 8U);
  for (size_t level = 0; level < 8; ++level) {
    const std::regex shape(
        "(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [ 123][0-9] "
        "[012][0-9]:[0-5][0-9]:[0-6][0-9] [^ .]+ tests_linux\\[" +
        std::to_string(getpid()) + "\\] <" + kNames[level] + ">: level " + std::to_string(level));
    EXPECT_TRUE(std::regex_match(lines[level], shape)) << lines[level];
  }
}

TEST_F(SystemLogTest, TheFilterHoldsForTheDaemonAlone) {
  const int initial = asl_set_filter(client_.get(), ASL_FILTER_MASK(ASL_LEVEL_ERR) | ASL_FILTER_MASK(7));
  EXPECT_EQ(initial, ASL_FILTER_MASK_UPTO(ASL_LEVEL_NOTICE));
  for (const int level : {2, 3, 4, 6, 7}) asl_log(client_.get(), nullptr, level, "m");
  EXPECT_THAT(TheDaemon().messages, ElementsAre("3 m", "7 m"));
  EXPECT_EQ(Lines().size(), 5U);
}

TEST_F(SystemLogTest, ATextCannotForgeALine) {
  struct Row {
    const char* text;
    const char* shown;
  };
  constexpr Row kRows[] = {
      {"two\nlines", "two\n\tlines\n"},
      {"x\nNov 21 09:05:07 host kvobserve[1] <Error>: forged",
       "x\n\tNov 21 09:05:07 host kvobserve[1] <Error>: forged\n"},
      {"over\rwritten", "over\n\twritten\n"},
      {"end\n", "end\n\t\n"},
      {"\r\n", "\n\t\n\t\n"},
      {"rub\b\bout", "rub^H^Hout\n"},
      {"100% %s %n", "100% %s %n\n"},
      {"", "\n"},
  };
  for (const Row& row : kRows) {
    ASSERT_EQ(ftruncate(file_.Get(), 0), 0);
    asl_log(client_.get(), nullptr, ASL_LEVEL_INFO, "%s", row.text);
    std::ifstream file(path_);
    const std::string all{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(all.substr(all.find(">: ") + 3), row.shown);
  }
}

TEST_F(SystemLogTest, StandardErrorGetsTheSameLine) {
  const test::ChildResult result = test::RunInChild([this] {
    const Client echoing{asl_open("other", "user", ASL_OPT_STDERR)};
    asl_add_log_file(echoing.get(), file_.Get());
    asl_log(echoing.get(), nullptr, ASL_LEVEL_DEBUG, "both");
  });
  ASSERT_EQ(Lines().size(), 1U);
  EXPECT_EQ(result.errors, Lines()[0] + "\n");
  EXPECT_THAT(result.errors, testing::HasSubstr(" other["));
}

TEST_F(SystemLogTest, RefusalsDoNoHarm) {
  EXPECT_EQ(asl_add_log_file(client_.get(), -1), -1);
  EXPECT_EQ(asl_add_log_file(nullptr, file_.Get()), -1);
  EXPECT_EQ(asl_set_filter(nullptr, 0), -1);
  EXPECT_EQ(asl_open(nullptr, "mail", 0), nullptr);
  EXPECT_EQ(asl_log(client_.get(), nullptr, -1, "m"), -1);
  EXPECT_EQ(asl_log(client_.get(), nullptr, 8, "m"), -1);
  EXPECT_EQ(asl_log(client_.get(), nullptr, 3, nullptr), -1);
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_THAT(TheDaemon().messages, IsEmpty());

  EXPECT_EQ(asl_log(nullptr, nullptr, 3, "without a client"), 0);
  EXPECT_EQ(asl_log(client_.get(), nullptr, 6, "m"), 0);
  EXPECT_THAT(TheDaemon().messages, ElementsAre("3 without a client"));
  EXPECT_EQ(Lines().size(), 1U);
}

TEST_F(SystemLogTest, LinesOfManyWritersStayWhole) {
  constexpr int kProcesses = 4;
  constexpr int kThreads = 3;
  constexpr int kMessages = 150;
  const auto text = [](int writer, int number) {
    return std::to_string(writer) + "/" + std::to_string(number) + " " +
           std::string(static_cast<size_t>(number) * 37 % 6000, static_cast<char>('a' + writer));
  };
  const auto write = [&](int writer) {
    const Client own{asl_open(nullptr, nullptr, 0)};
    const platform::UniqueFd file(open(path_.c_str(), O_WRONLY | O_APPEND));
    asl_set_filter(own.get(), 0);
    asl_add_log_file(own.get(), file.Get());
    for (int number = 0; number < kMessages; ++number)
      asl_log(own.get(), nullptr, ASL_LEVEL_INFO, "%s", text(writer, number).c_str());
  };
  std::vector<pid_t> children;
  for (int process = 0; process < kProcesses; ++process) {
    children.push_back(fork());
    ASSERT_GE(children.back(), 0);
    if (children.back() != 0) continue;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
      threads.emplace_back(write, process * kThreads + thread);
    for (std::thread& thread : threads) thread.join();
    _exit(0);
  }
  for (const pid_t child : children) EXPECT_EQ(test::WaitForChild(child), 0);

  std::map<std::string, int> seen;
  for (const std::string& line : Lines()) {
    const size_t start = line.find(">: ");
    ASSERT_NE(start, std::string::npos) << line;
    ++seen[line.substr(start + 3)];
  }
  EXPECT_EQ(seen.size(), static_cast<size_t>(kProcesses * kThreads * kMessages));
  for (int writer = 0; writer < kProcesses * kThreads; ++writer)
    for (int number = 0; number < kMessages; ++number)
      EXPECT_EQ(seen[text(writer, number)], 1) << writer << "/" << number;
}

}  // namespace
