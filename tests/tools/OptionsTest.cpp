#include "tools/Options.h"

#include <gtest/gtest.h>

#include <getopt.h>

#include <vector>

namespace {

std::optional<tools::Options> Parse(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "kvscreen");
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  optind = 0;  // getopt starts anew
  return tools::ParseOptions(static_cast<int>(arguments.size()), argv.data());
}

TEST(OptionsTest, EveryOptionIsRead) {
  const auto options =
      Parse({"--png", "a.png", "--watch", "5", "--no-start", "--monitor", "2", "--wait", "7"});
  ASSERT_TRUE(options);
  EXPECT_EQ(options->pngFile, "a.png");
  EXPECT_TRUE(options->watch);
  EXPECT_EQ(options->watchSeconds, 5);
  EXPECT_FALSE(options->startView);
  EXPECT_EQ(options->monitor, 2U);
  EXPECT_EQ(options->waitSeconds, 7);
  EXPECT_TRUE(Parse({"--watch", "--legacy"})->legacy);
  EXPECT_FALSE(Parse({"--watch", "--no-start"})->watchSeconds) << "needs no number";
}

TEST(OptionsTest, WhatMakesNoSenseIsRefused) {
  const std::vector<std::vector<std::string>> cases = {{"--no-start"},
                                                       {"--png"},
                                                       {"--png", ""},
                                                       {"--watch", "0"},
                                                       {"--watch", "5s"},
                                                       {"--watch", "--monitor", "left"},
                                                       {"--watch", "--wait", "-1"},
                                                       {"--watch", "--legacy", "--no-start"},
                                                       {"--legacy", "--watch", "--monitor", "0"},
                                                       {"--png", "a", "b"},
                                                       {"--unknown"}};
  for (const auto& row : cases) EXPECT_FALSE(Parse(row)) << testing::PrintToString(row);
}

}  // namespace
