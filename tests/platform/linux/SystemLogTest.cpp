// The system log's clients: the lines of log files.
#include <asl.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

// No message of these tests goes to the daemon of the machine.
extern "C" void syslog(int, const char*, ...) {}

namespace {

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
  asl_log(client_.get(), nullptr, ASL_LEVEL_ERR, "%s %d", "number", 7);
  EXPECT_THAT(
      test::FileText(path_),
      testing::MatchesRegex("[A-Z][a-z]{2} [ 123][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [^ .]+ tests_linux\\[" +
                            std::to_string(getpid()) + "\\] <Error>: number 7\n"));
}

TEST_F(SystemLogTest, ATextCannotForgeALine) {
  constexpr std::pair<const char*, const char*> kRows[] = {
      {"two\nlines", "two\n\tlines\n"}, {"over\rwritten", "over\n\twritten\n"}, {"\r\n", "\n\t\n\t\n"},
      {"rub\b\bout", "rub^H^Hout\n"},   {"100% %s %n", "100% %s %n\n"},
  };
  for (const auto& [text, shown] : kRows) {
    ASSERT_EQ(ftruncate(file_.Get(), 0), 0);
    asl_log(client_.get(), nullptr, ASL_LEVEL_INFO, "%s", text);
    const std::string all = test::FileText(path_);
    EXPECT_EQ(all.substr(all.find(">: ") + 3), shown);
  }
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
