// The settings tool as an administrator uses it: a process of its own, its output and its exit status.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "common/KCPrefsRemote.h"
#include "tests/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

struct Result {
  int status = -1;
  std::string output;  // errors too
};

Result Kvprefs(const std::string& arguments) {
  Result result;
  std::FILE* const pipe = popen((KVPREFS " " + arguments + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return result;
  char chunk[4096];
  while (const size_t count = std::fread(chunk, 1, sizeof chunk, pipe)) result.output.append(chunk, count);
  result.status = WEXITSTATUS(pclose(pipe));
  return result;
}

class KvprefsTest : public testing::Test {
 protected:
  KvprefsTest() { setenv("KORVANE_PREFERENCES_DIR", folder_.Path().c_str(), 1); }

  const test::TemporaryFolder folder_;
  const std::string file_ = folder_ / "com.korvane.kvms.plist";
};

TEST_F(KvprefsTest, LookingShowsEverySettingAndStoresNone) {
  const auto expect = [](const std::string& arguments, const std::string& line) {
    const Result result = Kvprefs(arguments);
    EXPECT_EQ(result.status, 0) << arguments;
    EXPECT_NE(("\n" + result.output).find("\n" + line), std::string::npos)
        << arguments << ": " << result.output;
  };
  expect("", "remote ");
  expect("--help", "kvprefs - ");
  expect("remote", "AllowHIDLock                              boolean        true   default\n");
  expect("remote", "FileTransferFlags.Find                    boolean        false  default\n");
  expect("remote", "PerformanceSettings.255.UpdatesPerSecond  32-bit number  0      default\n");
  expect("remote SecurityType", "9\n");
  expect("scanner SoftwareFlags", "SoftwareFlags.Fonts                 true\n");
  expect("patch", "UpdateServer ");
  expect("machine ServerIPAddress", "10.0.0.1\n");
  EXPECT_TRUE(fs::is_empty(folder_.Path()));
}

TEST_F(KvprefsTest, WhatIsSetIsReadBackAndRemoved) {
  constexpr struct {
    const char *setting, *typed, *shown, *removed;
  } kRows[] = {
      {"remote AllowBlankScreen", "no", "false", "true"},
      {"remote BitDepth", "-5", "-5", "0"},
      {"remote SocketListenerPort", "32767", "32767", "1761"},
      {"remote FileTransferFlags.Find", "true", "true", "false"},
      {"remote PerformanceSettings.6.BitsPerPixel", "24", "24", "16"},
      {"remote PerformanceSettings.7.SecondsPerKeyFrame", "2.5", "2.5", ""},
      {"remote CompressionSettings", "0x00ff", "00ff", ""},
      {"scanner LastSoftwareScan", "2024-02-29T23:59:58Z", "2024-02-29T23:59:58Z", ""},
      {"scanner LastSoftwareScan", "1999-12-31", "1999-12-31T00:00:00Z", ""},
      {"scanner 'SoftwareFlags.Drivers and Plug-ins'", "false", "false", "true"},
      {"scanner ScanFileURL", "'/a b'", "file:///a%20b/", nullptr},
      {"patch UpdateServer", "http://192.0.2.1/", "http://192.0.2.1/", ""},
      {"machine 'Computer - Computer Location'", "'Röom 4'", "Röom 4", ""},
      {"machine ScannerUUID", "abc", "abc", ""},
  };
  for (const auto& row : kRows) {
    const Result set = Kvprefs(std::string(row.setting) + " " + row.typed);
    EXPECT_EQ(set.output, "") << row.setting;
    EXPECT_EQ(set.status, 0) << row.setting;
    EXPECT_EQ(Kvprefs(row.setting).output, std::string(row.shown) + "\n") << row.setting;
    EXPECT_EQ(Kvprefs("--remove " + std::string(row.setting)).status, 0) << row.setting;
    if (row.removed != nullptr) {
      EXPECT_EQ(Kvprefs(row.setting).output, std::string(row.removed) + "\n") << row.setting;
    }
  }
}

TEST_F(KvprefsTest, WhatMakesNoSenseIsRefused) {
  constexpr struct {
    const char* arguments;
    int status;
    const char* says;
  } kRows[] = {
      {"remot", 1, "there are remote, scanner, patch, machine"},
      {"remote AllowBlankscreen", 1, "did you mean AllowBlankScreen?"},
      {"remote FileTransferFlags.Fnd true", 1, "did you mean FileTransferFlags.Find"},
      {"remote PerformanceSettings.256.BitsPerPixel 16", 1, "no setting"},
      {"remote AllowBlankScreen 1", 1, "AllowBlankScreen takes true or false, not \"1\""},
      {"remote SocketListenerPort 32768", 1, "a whole number from -32768 to 32767"},
      {"remote SecurityType -3", 1, "a whole number from 0 to 32767"},
      {"remote InactivityTimeout 2147483648", 1, "to 2147483647"},
      {"remote BitDepth 1x", 1, "a whole number"},
      {"remote FileTransferFlags true", 1, "is a group"},
      {"remote CompressionSettings 0ff", 1, "hexadecimal"},
      {"scanner LastSoftwareScan 2023-02-29", 1, "a date"},
      {"scanner AgentDirectory ''", 1, "--remove"},
      {"scanner ScanFileURL 'no url'", 1, "an absolute path or a URL"},
      {"remote --remove", 2, "--help"},
      {"remote --nope", 2, "unknown option --nope"},
      {"remote AllowBlankScreen true more", 2, "unexpected argument more"},
  };
  for (const auto& row : kRows) {
    const Result result = Kvprefs(row.arguments);
    EXPECT_EQ(result.status, row.status) << row.arguments;
    EXPECT_NE(result.output.find(row.says), std::string::npos) << row.arguments << ": " << result.output;
  }
  EXPECT_TRUE(fs::is_empty(folder_.Path()));
}

TEST_F(KvprefsTest, WhatIsStoredButDoesNotCountIsSaid) {
  std::ofstream(file_)
      << "<plist version=\"1.0\"><dict><key>com.korvane.remote</key><dict><key>AllowHIDLock</key>"
         "<integer>1</integer><key>SecurityType</key><integer>-3</integer>"
         "<key>Strange</key><string>a&#10;b</string></dict></dict></plist>";
  const std::string list = Kvprefs("remote").output;
  for (const char* line :
       {"true   default; \"1\" is stored and does not count\n",
        "9      default; \"-3\" is stored and does not count\n", "a?b    set; in no table\n"})
    EXPECT_NE(list.find(line), std::string::npos) << line << list;

  std::ofstream(file_) << "<plist>";
  const Result damaged = Kvprefs("remote AllowHIDLock");
  EXPECT_TRUE(damaged.output.ends_with("it is kept as " + file_ + ".damaged\ntrue\n")) << damaged.output;
}

TEST_F(KvprefsTest, WhatCannotBeSavedOrPrintedIsAnError) {
  std::ofstream{folder_ / "file"};
  const std::pair<std::string, const char*> rows[] = {{folder_ / "file/below", "Not a directory"},
                                                      {"/proc/no/folder", "No such file or directory"}};
  for (const auto& [folder, says] : rows) {
    setenv("KORVANE_PREFERENCES_DIR", folder.c_str(), 1);
    const Result result = Kvprefs("machine ServerIPAddress 192.0.2.1");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << result.output;
    EXPECT_NE(result.output.find(says), std::string::npos) << result.output;
  }
  EXPECT_EQ(Kvprefs("remote >/dev/full").status, 1);
}

// Another process that runs meanwhile.
TEST_F(KvprefsTest, AProgramThatRunsSeesTheChange) {
  ASSERT_TRUE(KCPrefsRemote::GetPrefs()->GetBlankScreen());
  ASSERT_EQ(Kvprefs("remote AllowBlankScreen false").status, 0);
  EXPECT_FALSE(KCPrefsRemote::GetPrefs()->GetBlankScreen());
}

}  // namespace
