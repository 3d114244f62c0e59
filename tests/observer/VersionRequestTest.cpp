// What a version request prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using testing::MatchesRegex;

TEST(VersionRequestTest, TheProgramAnswersTheFirstRequestAndNeedsNoDisplay) {
  const std::string full =
      "10\\.1\\.10\\.480\n[^\n]+\n[A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}";
  const struct {
    const char* arguments;
    std::string output;
  } cases[] = {
      {"-v", full},
      {"-v0", "10\\.1\\.10f480"},
      {"-v1", "169509344"},
      {"-v2", "10\\.1\\.10\\.480"},
      {"-version", "10\\.1\\.10f480"},
      {"x - -legacy --version -V -v1 -v2", "169509344"},
  };
  unsetenv("DISPLAY");
  for (const auto& row : cases) {
    const std::string command = std::string(OBSERVER_BUNDLE "/Contents/MacOS/kvobserve ") + row.arguments;
    FILE* const pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    char text[2000];
    const size_t length = fread(text, 1, sizeof text, pipe);
    EXPECT_EQ(pclose(pipe), 0) << row.arguments;
    EXPECT_THAT(std::string(text, length), MatchesRegex(row.output + "\n")) << row.arguments;
  }
}

}  // namespace
