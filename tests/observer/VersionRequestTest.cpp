// What a version request prints, by the functions and by the program itself.
#include "observer/VersionRequest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

const std::string kFull =
    "10\\.1\\.10\\.480\n[^\n]+\n[A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}";

using testing::MatchesRegex;

TEST(VersionRequestTest, TheModeDecidesTheText) {
  EXPECT_STREQ(get_application_version(2, "name"), "10.1.10.480");
  EXPECT_STREQ(get_application_version(1, "name"), "169509344");
  EXPECT_STREQ(get_application_version(0, "name"), "10.1.10f480");
  EXPECT_THAT(get_application_version(-1, nullptr), MatchesRegex(kFull));
  EXPECT_THAT(get_application_version(7, ""), MatchesRegex(kFull));
  EXPECT_THAT(get_application_version(-1, "kvobserve"), MatchesRegex("kvobserve " + kFull));
  EXPECT_EQ(get_application_version(-1, std::string(1020, 'n').c_str()), std::string(1020, 'n') + " 10");
  EXPECT_EQ(get_application_version(-1, std::string(5000, 'n').c_str()), std::string(1023, 'n'));
}

TEST(VersionRequestTest, ArgumentsThatAreNoRequestAreLeftAlone) {
  const char* const arguments[] = {"kvobserve", "v2", "-", "", "--version", "-x", "-V"};
  ProcessVersionNumber(1, arguments, nullptr);
  ProcessVersionNumber(7, arguments, nullptr);
}

TEST(VersionRequestTest, TheProgramAnswersTheFirstRequestAndNeedsNoDisplay) {
  const struct {
    const char* arguments;
    std::string output;
  } cases[] = {
      {"-v", kFull},
      {"-v0", "10\\.1\\.10f480"},
      {"-v1", "169509344"},
      {"-v2", "10\\.1\\.10\\.480"},
      {"-version", "10\\.1\\.10f480"},
      {"-v7", kFull},
      {"-v-1", kFull},
      {"x -legacy -v1 -v2", "169509344"},
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
