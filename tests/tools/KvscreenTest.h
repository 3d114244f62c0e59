// kvscreen as its users run it: a program beside a running observer on a real desktop.
#pragma once
#include <gtest/gtest.h>

#include <filesystem>
#include <future>

#include "tests/support/ObserverProcess.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"
#include "tests/tools/Picture.h"

using Arguments = std::vector<std::string>;

class KvscreenTest : public testing::Test {
 protected:
  KvscreenTest() { setenv("KORVANE_PORTS_DIR", (folder_ / "ports").c_str(), 1); }

  void StartObserver(const Arguments& arguments = {}) {
    observer_.Start(arguments);
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
