#include "tests/tools/KvscreenTest.h"

#include <signal.h>

#include <regex>

namespace {

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
