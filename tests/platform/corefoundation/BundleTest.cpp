// Bundles: their two layouts, and whose language their texts have.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/platform/corefoundation/Support.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using test::MakeUrl;
using test::Owned;
using test::Utf8Of;

constexpr const char* kXml =
    R"(<?xml version="1.0"?><plist version="1.0"><dict><key>hello</key><string>%s</string></dict></plist>)";

std::string Xml(std::string text) { return std::string(kXml).replace(std::string(kXml).find("%s"), 2, text); }

class BundleTest : public testing::Test {
 protected:
  BundleTest() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) unsetenv(variable);
  }
  void Write(const std::string& name, const std::string& text) {
    const std::filesystem::path path = folder_ / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  [[nodiscard]] Owned<CFBundleRef> Open(const std::string& name) const {
    return Owned<CFBundleRef>(CFBundleCreate(kCFAllocatorDefault, MakeUrl(folder_ / name, true).get()));
  }
  static std::string Text(const Owned<CFBundleRef>& bundle, CFStringRef key, CFStringRef value) {
    return Utf8Of(Owned<CFStringRef>(CFBundleCopyLocalizedString(bundle.get(), key, value, nullptr)).get());
  }

  const test::TemporaryFolder folder_;
};

TEST_F(BundleTest, BothLayoutsTellTheSame) {
  for (const char* base : {"New/Contents/", "Flat/"}) {
    Write(base + std::string("Info.plist"), Xml("info"));
    Write(base + std::string("Resources/en.lproj/Localizable.strings"), R"("hello" = "text";)");
  }
  EXPECT_EQ(Open("Missing"), nullptr);
  for (const char* name : {"New", "Flat"}) {
    const auto bundle = Open(name);
    ASSERT_NE(bundle, nullptr) << name;
    EXPECT_TRUE(CFEqual(CFDictionaryGetValue(CFBundleGetInfoDictionary(bundle.get()), CFSTR("hello")),
                        CFSTR("info")));
    EXPECT_EQ(Text(bundle, CFSTR("hello"), CFSTR("no")), "text") << name;
  }
}

TEST_F(BundleTest, ATextComesInTheReadersLanguageOrNotAtAll) {
  Write("B/English.lproj/Localizable.strings", R"(/* plain */ "hello" = "Hello"; "more" = "More";)");
  Write("B/de.lproj/Localizable.strings", Xml("Gr\u00fc\u00df dich"));
  Write("B/zh_CN.lproj/Localizable.strings", Xml("\u4f60\u597d"));
  const struct {
    const char *variable, *languages, *text;
  } kRows[] = {{"LANG", "", "Hello"},
               {"LANG", "C.UTF-8", "Hello"},
               {"LANG", "en_GB.UTF-8", "Hello"},
               {"LANG", "de_CH.UTF-8", "Gr\u00fc\u00df dich"},
               {"LANG", "fr_FR", "Hello"},
               {"LANGUAGE", "fr:de_AT:en", "Gr\u00fc\u00df dich"},
               {"LANG", "zh_CN.GB2312", "\u4f60\u597d"}};
  for (const auto& row : kRows) {
    setenv(row.variable, row.languages, 1);
    const auto bundle = Open("B");
    EXPECT_EQ(Text(bundle, CFSTR("hello"), nullptr), row.text) << row.variable << "=" << row.languages;
    unsetenv(row.variable);
  }
  setenv("LANG", "de", 1);
  const auto german = Open("B");
  EXPECT_EQ(Text(german, CFSTR("more"), CFSTR("default")), "default") << "not from another language";
  EXPECT_EQ(Text(german, CFSTR("more"), nullptr), "more");
  EXPECT_EQ(Text(german, CFSTR("more"), CFSTR("")), "more");
}

TEST_F(BundleTest, AResourceIsOnlyLookedForInTheBundlesOwnLanguages) {
  Write("B/English.lproj/T.strings", "{}");
  Write("secret.lproj/T.strings", "{}");
  const auto bundle = Open("B");
  const auto found = [&](CFStringRef localization) {
    const Owned<CFURLRef> url(CFBundleCopyResourceURLForLocalization(
        bundle.get(), CFSTR("T"), CFSTR("strings"), nullptr, localization));
    return url != nullptr;
  };
  EXPECT_TRUE(found(CFSTR("English")));
  EXPECT_TRUE(found(CFSTR("en"))) << "the same language";
  EXPECT_FALSE(found(CFSTR("de")));
  EXPECT_FALSE(found(CFSTR("../secret")));
}

}  // namespace
