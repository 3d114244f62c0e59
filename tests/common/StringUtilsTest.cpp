// Between strings and bytes, also where not everything can be converted or fits; texts for scripts and in the
// language of the console's user.
#include "common/KCStringUtils.h"

#include <gtest/gtest.h>

#include <pwd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "common/KCFolderManager.h"
#include "common/StCFTypeRef.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"

namespace {

// Every account's, while it is not empty.
std::string homeOfTheTest;

}  // namespace

// In place of the C library's, so that no test writes into a real home folder.
extern "C" int getpwuid_r(uid_t uid, passwd* account, char*, size_t, passwd** found) {
  const passwd* const real = getpwuid(uid);
  *found = real != nullptr ? account : nullptr;
  if (real == nullptr) return 0;
  *account = *real;
  if (!homeOfTheTest.empty()) account->pw_dir = homeOfTheTest.data();
  return 0;
}

namespace {

StCFTypeRef<CFStringRef> MakeString(const std::string& utf8) {
  return StCFTypeRef<CFStringRef>{
      CFStringCreateWithCString(kCFAllocatorDefault, utf8.c_str(), kCFStringEncodingUTF8)};
}

TEST(StringUtilsTest, WhatFitsAndCanBeConvertedIsWritten) {
  struct Row {
    const char* utf8;
    CFIndex size;
    CFStringEncoding encoding;
    CFIndex result;
    const char* written;
  };
  constexpr CFStringEncoding kUtf8 = kCFStringEncodingUTF8;
  constexpr CFStringEncoding kAscii = kCFStringEncodingASCII;
  constexpr CFStringEncoding kRoman = kCFStringEncodingMacRoman;
  constexpr Row kRows[] = {
      {"abc", 4, kAscii, 1, "abc"},             // all of it: any result but 0
      {"abcdef", 4, kAscii, 3, "abc"},          // cut
      {"abc", 0, kAscii, 0, nullptr},           // not even the end
      {"abc", 1, kAscii, 0, ""},                // the end and nothing else
      {"a\u00e9b", 8, kAscii, 2, "ab"},         // dropped in the middle
      {"\u4e2d\u6587", 8, kAscii, 0, ""},       // nothing left
      {"a\U0001F600b", 8, kAscii, 2, "ab"},     // a pair of units is one character
      {"a\U0001F600b", 5, kUtf8, 1, "a"},       // four bytes do not fit behind one, nor is "b" pulled up
      {"\u00e9\u00e9", 4, kUtf8, 2, "\u00e9"},  // never half a character
      {"caf\u00e9\u4e2d", 16, kRoman, 4, "caf\x8e"},
  };
  for (const Row& row : kRows) {
    std::array<char, 32> buffer;
    buffer.fill('#');
    EXPECT_EQ(KCStringGetCString(MakeString(row.utf8), buffer.data(), row.size, row.encoding), row.result)
        << row.utf8 << " " << row.size;
    EXPECT_EQ(buffer[static_cast<size_t>(row.size)], '#') << row.utf8 << ": written past the end";
    if (row.size == 0) continue;
    EXPECT_STREQ(buffer.data(), row.written) << row.utf8 << " " << row.size;
  }
}

std::string Utf8(CFStringRef string) {
  const KCStringHelper text(string, kCFStringEncodingUTF8);
  return text.GetCStringPtr() != nullptr ? text.GetCStringPtr() : "";
}

std::string UnEscaped(const std::string& text) {
  return Utf8(StCFTypeRef<CFMutableStringRef>{UnEscapeScript(MakeString(text))});
}

TEST(StringUtilsTest, ScriptsGetTokensAndGiveTextBack) {
  const std::string plain = "say \"it's\" <a&b>\r\n[x]";
  const std::string escaped = Utf8(StCFTypeRef<CFMutableStringRef>{EscapeScript(MakeString(plain))});
  EXPECT_EQ(escaped, "say [QUOT]it[APOS]s[QUOT] [LT]a[AMP]b[GT][CR][LF][x]");
  EXPECT_EQ(UnEscaped(escaped), plain);
  EXPECT_EQ(UnEscaped("[SQUOTE][DQUOTE]&quot;&apos;&amp;&gt;&lt;"), "'\"\"'&><");
  EXPECT_EQ(UnEscaped("&amp;quot;"), "&quot;") << "the quotes' turn is over";
  EXPECT_EQ(UnEscaped("&amp;lt;"), "<") << "the brackets' turn is yet to come";
  EXPECT_EQ(EscapeScript(nullptr), nullptr);
}

class LocalizedStringTest : public testing::Test {
 protected:
  LocalizedStringTest() {
    SetRootFolder((folder_ / "root").c_str());
    setenv("KORVANE_PREFERENCES_DIR", folder_.Path().c_str(), 1);
    for (const char* variable : {"DISPLAY", "LC_ALL", "LC_MESSAGES", "LANG"}) unsetenv(variable);
    setenv("LANGUAGE", "fr", 1);
    homeOfTheTest = folder_ / "home";
  }
  void Write(const std::string& name, const std::string& text) const {
    const std::filesystem::path path = folder_ / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  void WriteTables() const {
    const std::string resources = "root/bin/kvresources/";
    Write(resources + "English.lproj/T.strings", R"("hello" = "Hello";)");
    Write(resources + "de.lproj/T.strings", R"(<plist version="1.0"><dict><key>hello</key><string>Grüß)"
                                            R"( dich</string></dict></plist>)");
    Write(resources + "fr.lproj/T.strings", R"("hello" = "Salut";)");
    Write(resources + "zh_TW.lproj/T.strings", "\"hello\" = \"\u4f60\u597d\";");
  }
  static std::string Text(CFStringRef key) {
    return Utf8(
        StCFTypeRef<CFStringRef>{KCLocalizedStringWithDefaultValue(key, CFSTR("default"), CFSTR("T"))});
  }

  const test::TemporaryFolder folder_;
};

TEST_F(LocalizedStringTest, TheConsoleUsersFirstLanguageCountsAndNoOther) {
  const test::XServer console;  // whose owner is the console's user
  EXPECT_EQ(Text(CFSTR("hello")), "default") << "there are no tables";
  WriteTables();
  EXPECT_EQ(Text(CFSTR("hello")), "Salut") << "the user has not chosen: this process's language";
  const std::pair<const char*, const char*> rows[] = {{"de", "Gr\u00fc\u00df dich"},
                                                      {"de-CH", "Gr\u00fc\u00df dich"},
                                                      {"EN", "Hello"},
                                                      {"en-GB", "Hello"},
                                                      {"zh-Hant-HK", "\u4f60\u597d"},
                                                      {"nl</string><string>de", "default"},
                                                      {"../bin/kvresources/de", "default"}};
  for (const auto& [languages, text] : rows) {
    Write("home/Library/Preferences/.GlobalPreferences.plist",
          std::string("<plist version=\"1.0\"><dict><key>AppleLanguages</key><array><string>") + languages +
              "</string></array></dict></plist>");
    EXPECT_EQ(Text(CFSTR("hello")), text) << languages;
    EXPECT_EQ(Text(CFSTR("missing")), "default") << languages;
  }
}

TEST_F(LocalizedStringTest, AtTheLoginWindowTheProcesssOwnLanguageCounts) {
  WriteTables();
  Write(
      "home/Library/Preferences/.GlobalPreferences.plist",
      R"(<plist version="1.0"><dict><key>AppleLanguages</key><array><string>de</string></array></dict></plist>)");
  EXPECT_EQ(Text(CFSTR("hello")), "Salut");
  EXPECT_EQ(Text(CFSTR("missing")), "default");
}

}  // namespace
