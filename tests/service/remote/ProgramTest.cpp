// kvremote as a program: its arguments, its one line, its end.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "tests/support/TemporaryFolder.h"

namespace remote {
namespace {

struct Closer {
  void operator()(FILE* pipe) const noexcept { pclose(pipe); }
};

class ProgramTest : public testing::Test {
 protected:
  // A copy in an installation of its own, so that log, sockets and ports are the test's.
  ProgramTest() {
    std::filesystem::create_directories(folder_ / "agent/bin");
    std::filesystem::copy_file(KVREMOTE, Program());
    setenv("KORVANE_PORTS_DIR", (folder_ / "ports").c_str(), 1);
    setenv("TMPDIR", folder_.Path().c_str(), 1);
  }

  [[nodiscard]] std::string Program() const { return folder_ / "agent/bin/kvremote"; }

  const test::TemporaryFolder folder_;
};

TEST_F(ProgramTest, ArgumentsThatMakeNoSenseAreRefusedInWords) {
  const struct {
    const char *arguments, *words;
  } rows[] = {{"--address 0.0.0.0", "only with --tls"},
              {"--address ::", "only with --tls"},
              {"--address localhost", "not an IP address"},
              {"--port 0", "not a port"},
              {"--port 65536", "not a port"},
              {"--port 80x", "not a port"},
              {"--tls cert.pem", "--tls needs two files"},
              {"--idle -1", "not a number of minutes"},
              {"--max-viewers 0", "not a number of viewers"},
              {"--observer ''", "empty value"},
              {"--unknown", "unknown or incomplete option"},
              {"--port", "unknown or incomplete option"},
              {"more", "unexpected argument more"}};
  for (const auto& row : rows) {
    const std::string errors = folder_ / "errors";
    const int status = std::system((Program() + " " + row.arguments + " 2>" + errors).c_str());
    EXPECT_EQ(WEXITSTATUS(status), 2) << row.arguments;
    EXPECT_NE(test::FileText(errors).find(row.words), std::string::npos) << test::FileText(errors);
  }
}

TEST_F(ProgramTest, ItSaysItsAddressOnceAndEndsAtASignal) {
  const std::string command = "echo $$; exec " + Program() + " 2>" + (folder_ / "errors");
  const std::unique_ptr<FILE, Closer> output(popen(command.c_str(), "r"));
  char line[256];
  ASSERT_NE(fgets(line, sizeof line, output.get()), nullptr);
  const auto pid = static_cast<pid_t>(std::atoi(line));
  ASSERT_GT(pid, 0);
  ASSERT_NE(fgets(line, sizeof line, output.get()), nullptr) << test::FileText(folder_ / "errors");
  const std::string address = line;
  EXPECT_TRUE(address.starts_with("http://127.0.0.1:")) << address;
  kill(pid, SIGTERM);
  EXPECT_EQ(fgets(line, sizeof line, output.get()), nullptr) << line;

  const std::string token = address.substr(address.find('=') + 1, 32);
  for (const char* file : {"agent/Korvane.log", "errors"})
    EXPECT_EQ(test::FileText(folder_ / file).find(token), std::string::npos) << file;
  EXPECT_NE(test::FileText(folder_ / "agent/Korvane.log").find("kvremote: ends"), std::string::npos);
}

}  // namespace
}  // namespace remote
