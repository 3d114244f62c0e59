// How a command line becomes a request, and the programs that are run without one.
#include "common/LaunchRequest.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <vector>

#include "common/KCDispatch.h"
#include "common/KCFolderManager.h"
#include "common/KCSecurityUtils.h"
#include "platform/System.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace {

using namespace std::chrono_literals;
using Tokens = std::vector<std::string>;

std::string Text(CFTypeRef string) {
  char text[256] = "";
  CFStringGetCString(static_cast<CFStringRef>(string), text, sizeof text, kCFStringEncodingUTF8);
  return text;
}

TEST(LaunchRequestTest, ACommandLineIsItsTokens) {
  const struct {
    const char* line;
    Tokens tokens;
  } cases[] = {
      {R"(a "b c" d\ e)", {"a", "b c", "d e"}},
      {"a  b", {"a", "", "b"}},
      {"a b ", {"a", "b"}},
      {"a ", {"a"}},
      {" a", {"", "a"}},
      {"", {""}},
      {R"('a "b"' "it's")", {"a \"b\"", "it's"}},
      {R"(a"b c"d)", {"ab cd"}},
      {R"(\"a b\")", {"\"a", "b\""}},
      {R"("a\"b" c)", {"a\"b", "c"}},
      {R"(a\\b c\\\ d)", {"ab", "c d"}},
      {R"(a\)", {"a"}},
      {R"("open b)", {"open b"}},
      {R"(a "" b)", {"a", "", "b"}},
      {"gr\xC3\xBC\xC3\x9F\xE2\x82\xAC x", {"gr\xC3\xBC\xC3\x9F\xE2\x82\xAC", "x"}},
  };
  for (const auto& [line, tokens] : cases) {
    const auto request = CreateLaunchRequest(line, nullptr);
    Tokens found = {Text(CFDictionaryGetValue(request, CFSTR("command")))};
    const auto parameters = static_cast<CFArrayRef>(CFDictionaryGetValue(request, CFSTR("parameters")));
    EXPECT_EQ(parameters != nullptr, tokens.size() > 1) << line;
    for (CFIndex i = 0; parameters != nullptr && i < CFArrayGetCount(parameters); ++i)
      found.push_back(Text(CFArrayGetValueAtIndex(parameters, i)));
    EXPECT_EQ(found, tokens) << line;
    EXPECT_FALSE(CFDictionaryContainsKey(request, CFSTR("mode")));
    EXPECT_FALSE(CFDictionaryContainsKey(request, CFSTR("secret")));
  }
  for (const char* line : {static_cast<const char*>(nullptr), "\xFF"})
    EXPECT_EQ(CreateLaunchRequest(line, nullptr).get(), nullptr);

  const StCFTypeRef<CFMutableStringRef> token(CFStringCreateMutable(kCFAllocatorDefault, 0));
  EXPECT_EQ(copyQuotedSectionFromString("ab c", token), 3U) << "the blank counts";
  EXPECT_EQ(copyQuotedSectionFromString("c", token), 1U);
  EXPECT_EQ(Text(token), "abc");
}

TEST(LaunchRequestTest, WithoutADispatcherACallEndsWithTheTimeOut) {
  const test::TemporaryFolder folder;
  SetRootFolder(folder.Path().c_str());
  gLaunchReplyTimeoutMs = 20;
  int pid = 5;
  const auto result =
      std::async([&] { return KCLaunchAndGetPID("/bin/true", kKVLaunchContextUsr, &pid); }).share();
  // What is left unsent must not hold it up.
  EXPECT_TRUE(test::WaitFor([&] { return result.wait_for(0ms) == std::future_status::ready; }, 5s));
  EXPECT_EQ(result.get(), -1);
  EXPECT_EQ(pid, 0);
}

TEST(SecurityUtilsTest, ATaskIsReapedAndOneThatCannotStartFailsAtOnce) {
  const test::TemporaryFolder folder;
  const std::string record = folder / "pid";
  const std::string program = folder / "program";
  std::ofstream(program) << "#!/bin/sh\necho $$ >" << record << "; exec sleep 600\n";
  EXPECT_EQ(KCExecuteWithPrivileges(program.c_str()), -50) << "not executable: no minute of waiting";
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  EXPECT_EQ(KCExecuteWithPrivileges(program.c_str()), 0);
  ASSERT_TRUE(test::WaitFor([&] { return test::FileText(record).ends_with('\n'); }));
  const pid_t pid = std::stoi(test::FileText(record));
  EXPECT_EQ(kill(pid, SIGTERM), 0) << "no signal is blocked in it";
  EXPECT_TRUE(test::WaitFor([&] { return !platform::ProcessShortName(pid); }));
}

TEST(SecurityUtilsTest, ACommandLineGivesItsExitStatus) {
  EXPECT_EQ(KCExecuteCommandlineAsRoot("exit 3"), 3);
  EXPECT_EQ(KCExecuteCommandlineAsRoot("true | false; exit $(($? + 40))"), 41);
  EXPECT_EQ(KCExecuteCommandlineAsRoot(nullptr), 255);
}

}  // namespace
