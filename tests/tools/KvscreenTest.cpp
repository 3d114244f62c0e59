// kvscreen as its users run it: a program beside a running observer on a real desktop.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <thread>

#include "tests/support/ObserverProcess.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"
#include "tests/tools/Picture.h"

extern char** environ;

namespace {

using namespace std::chrono_literals;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

class Kvscreen {
 public:
  Kvscreen(const test::TemporaryFolder& folder, std::vector<std::string> arguments)
      : out_(folder / "out"), err_(folder / "err") {
    arguments.insert(arguments.begin(), KVSCREEN);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, out_.c_str(), kFlags, 0600);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, err_.c_str(), kFlags, 0600);
    EXPECT_EQ(posix_spawn(&pid_, KVSCREEN, &files, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&files);
  }
  ~Kvscreen() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  Kvscreen(const Kvscreen&) = delete;
  Kvscreen& operator=(const Kvscreen&) = delete;

  void Signal(int signal) const { kill(pid_, signal); }

  int WaitForEnd() {
    int status = 0;
    if (!test::WaitFor([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }, 40s)) return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  [[nodiscard]] std::string Out() const { return ReadFile(out_); }
  [[nodiscard]] std::string Err() const { return ReadFile(err_); }

 private:
  std::string out_, err_;
  pid_t pid_ = -1;
};

class KvscreenTest : public testing::Test {
 protected:
  void StartObserver() {
    observer_.Start();
    ASSERT_TRUE(observer_.WaitUntilListening());
  }
  int Run(const std::vector<std::string>& arguments) {
    Kvscreen program(folder_, arguments);
    const int status = program.WaitForEnd();
    error_ = program.Err();
    return status;
  }

  const test::XServer server_{{.width = 700, .height = 500}};
  test::XClient witness_;
  const test::TemporaryFolder folder_;
  test::ObserverProcess observer_{KVOBSERVE_BUNDLE};
  std::string error_;
};

TEST_F(KvscreenTest, ThePictureIsTheDesktop) {
  StartObserver();
  witness_.FillNoise(0, 0, 700, 500, 5);
  witness_.Sync();
  ASSERT_EQ(Run({"--png", folder_ / "a.png"}), 0) << error_;

  const test::Picture picture = test::ReadPng(folder_ / "a.png");
  ASSERT_EQ(picture.width, 700);
  ASSERT_EQ(picture.height, 500);
  std::vector<uint32_t> expected = witness_.Read(0, 0, 700, 500);
  for (uint32_t& pixel : expected) pixel = test::ThroughFiveBits(pixel);
  EXPECT_EQ(picture.pixels, expected);

  // The view has ended: nothing is left to join.
  EXPECT_TRUE(test::WaitFor([&] { return !std::filesystem::exists(observer_.ScreenSocketPath()); }));
  EXPECT_EQ(Run({"--png", folder_ / "b.png", "--no-start"}), 3);
  EXPECT_NE(error_.find("no view runs"), std::string::npos) << error_;
  EXPECT_FALSE(std::filesystem::exists(folder_ / "b.png"));
}

TEST_F(KvscreenTest, OneMonitorOfSeveral) {
  ASSERT_EQ(server_.Run({"xrandr", "--setmonitor", "L", "300/80x500/130+0+0", "screen"}), 0);
  ASSERT_EQ(server_.Run({"xrandr", "--setmonitor", "*R", "400/100x400/100+300+100", "none"}), 0);
  StartObserver();
  witness_.FillNoise(0, 0, 700, 500, 6);
  witness_.Sync();
  ASSERT_EQ(Run({"--png", folder_ / "a.png", "--monitor", "0"}), 0) << error_;

  const test::Picture picture = test::ReadPng(folder_ / "a.png");
  std::vector<uint32_t> expected = witness_.Read(300, 100, 400, 400);
  for (uint32_t& pixel : expected) pixel = test::ThroughFiveBits(pixel);
  EXPECT_EQ(picture.pixels, expected);

  EXPECT_EQ(Run({"--png", folder_ / "a.png", "--monitor", "7"}), 3);
  EXPECT_NE(error_.find("no monitor 7"), std::string::npos) << error_;
}

TEST_F(KvscreenTest, WatchingCountsWhatChangesUntilItIsInterrupted) {
  StartObserver();
  Kvscreen program(folder_, {"--watch"});
  const std::regex line(R"(updates +(\d+)   rectangles +(\d+)   megapixels +([\d.]+)   latency +[\d.]+ ms)");
  std::smatch found;
  std::string out;
  EXPECT_TRUE(test::WaitFor([&] {
    witness_.Fill(10, 10, 100, 100, 0x123456);
    witness_.Sync();
    out = program.Out();
    return std::regex_search(out, found, line) && std::stoi(found[1]) > 0 && std::stod(found[3]) > 0;
  })) << out
      << program.Err();

  program.Signal(SIGINT);
  EXPECT_EQ(program.WaitForEnd(), 0) << program.Err();
  EXPECT_TRUE(test::WaitFor([&] { return !std::filesystem::exists(observer_.ScreenSocketPath()); }))
      << "the view goes on";
}

TEST_F(KvscreenTest, ALostObserverIsSaid) {
  StartObserver();
  Kvscreen program(folder_, {"--watch"});
  ASSERT_TRUE(test::WaitFor([&] { return program.Out().find("updates") != std::string::npos; }))
      << program.Err();
  observer_.Signal(SIGKILL);
  ASSERT_TRUE(observer_.WaitForEnd());
  EXPECT_EQ(program.WaitForEnd(), 3);
  EXPECT_NE(program.Err().find("the observer's screen is lost"), std::string::npos) << program.Err();
}

TEST_F(KvscreenTest, WithoutAnObserverItSaysWhatWasTried) {
  EXPECT_EQ(Run({"--png", folder_ / "a.png"}), 2);
  EXPECT_NE(error_.find("no observer answers at ipc://" + observer_.EndpointPath()), std::string::npos)
      << error_;

  Kvscreen waiting(folder_, {"--png", folder_ / "a.png", "--wait", "30"});
  StartObserver();
  EXPECT_EQ(waiting.WaitForEnd(), 0) << waiting.Err();
}

TEST_F(KvscreenTest, APictureThatCannotBeWrittenIsSaid) {
  StartObserver();
  EXPECT_EQ(Run({"--png", folder_ / "missing/a.png"}), 4);
  EXPECT_NE(error_.find("cannot write " + (folder_ / "missing/a.png") + ": No such file or directory"),
            std::string::npos)
      << error_;
}

}  // namespace
