// kvscreen as its users run it: a program beside a running observer on a real desktop.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <future>
#include <regex>

#include "tests/support/ObserverProcess.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"
#include "tests/tools/Picture.h"

namespace {

using Arguments = std::vector<std::string>;

class KvscreenTest : public testing::Test {
 protected:
  void StartObserver() {
    observer_.Start();
    ASSERT_TRUE(observer_.WaitUntilListening());
  }

  // The exit status; process number, output and errors are in files.
  int Run(const Arguments& arguments) {
    Arguments command = {"sh", "-c", R"(cd "$1"; echo $$ >pid; shift; exec "$0" "$@" >out 2>err)", KVSCREEN,
                         folder_.Path()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return server_.Run(command);
  }
  std::future<int> RunOnAThread(const Arguments& arguments) {
    return std::async(std::launch::async, [=, this] { return Run(arguments); });
  }
  [[nodiscard]] std::string Out() const { return test::FileText(folder_ / "out"); }
  [[nodiscard]] std::string Err() const { return test::FileText(folder_ / "err"); }

  // The picture that is made shows what the witness sees there.
  void ExpectPicture(const Arguments& arguments, int x, int y, int width, int height) {
    ASSERT_EQ(Run(arguments), 0) << Err();
    const test::Picture picture = test::ReadPng(picture_);
    EXPECT_EQ(picture.width, width);
    std::vector<uint32_t> expected = witness_.Read(x, y, width, height);
    for (uint32_t& pixel : expected) pixel = test::ThroughFiveBits(pixel);
    EXPECT_EQ(picture.pixels, expected);
  }
  [[nodiscard]] bool ViewEnds() const {
    return test::WaitFor([&] { return !std::filesystem::exists(observer_.ScreenSocketPath()); });
  }

  const test::XServer server_{{.width = 700, .height = 500}};
  test::XClient witness_;
  const test::TemporaryFolder folder_;
  const std::string picture_ = folder_ / "a.png";
  test::ObserverProcess observer_{KVOBSERVE_BUNDLE};
};

TEST_F(KvscreenTest, ThePictureIsTheDesktopOrOneMonitorOfIt) {
  ASSERT_EQ(server_.Run({"xrandr", "--setmonitor", "L", "300/80x500/130+0+0", "screen"}), 0);
  ASSERT_EQ(server_.Run({"xrandr", "--setmonitor", "*R", "400/100x500/130+300+0", "none"}), 0);
  StartObserver();
  witness_.FillNoise(0, 0, 700, 500, 5);
  witness_.Sync();
  ExpectPicture({"--png", picture_}, 0, 0, 700, 500);
  EXPECT_TRUE(ViewEnds());
  ExpectPicture({"--png", picture_, "--monitor", "0"}, 300, 0, 400, 500);
}

TEST_F(KvscreenTest, WhatCannotBeDoneIsSaid) {
  const struct {
    Arguments arguments;
    int status;
    std::string error;
  } cases[] = {
      {{"--png", picture_, "--no-start"}, 3, "no view runs"},
      {{"--png", picture_, "--monitor", "7"}, 3, "no monitor 7"},
      {{"--png", folder_ / "no/a.png"}, 4, "cannot write " + (folder_ / "no/a.png") + ": No such file"},
  };
  EXPECT_EQ(Run({"--png", picture_}), 2);
  EXPECT_NE(Err().find("no observer answers at ipc://" + observer_.EndpointPath()), std::string::npos);
  StartObserver();
  for (const auto& row : cases) {
    EXPECT_EQ(Run(row.arguments), row.status) << row.error;
    EXPECT_NE(Err().find(row.error), std::string::npos) << row.error << "\n" << Err();
    EXPECT_TRUE(ViewEnds()) << row.error;
  }
  EXPECT_FALSE(std::filesystem::exists(picture_));
}

TEST_F(KvscreenTest, WatchingCountsWhatChangesUntilItIsInterrupted) {
  StartObserver();
  auto status = RunOnAThread({"--watch"});
  const std::regex line(R"(updates +(\d+)   rectangles +(\d+)   megapixels +([\d.]+)   latency +[\d.]+ ms)");
  std::smatch found;
  std::string out;
  EXPECT_TRUE(test::WaitFor([&] {
    witness_.Fill(10, 10, 100, 100, 0x123456);
    witness_.Sync();
    out = Out();
    return std::regex_search(out, found, line) && std::stoi(found[1]) > 0 && std::stod(found[3]) > 0;
  })) << out
      << Err();
  kill(std::stoi(test::FileText(folder_ / "pid")), SIGINT);
  EXPECT_EQ(status.get(), 0) << Err();
  EXPECT_TRUE(ViewEnds());
}

TEST_F(KvscreenTest, AnObserverIsWaitedForAndItsLossIsSaid) {
  auto status = RunOnAThread({"--watch", "--wait", "30"});
  StartObserver();
  EXPECT_TRUE(test::WaitFor([&] { return Out().find("updates") != std::string::npos; })) << Err();
  observer_.Signal(SIGKILL);
  EXPECT_EQ(status.get(), 3);
  EXPECT_NE(Err().find("the observer's screen is lost"), std::string::npos) << Err();
}

}  // namespace
