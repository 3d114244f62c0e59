// Settings that several processes read and write, and files that are not what they should be.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/corefoundation/Support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/StandardError.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace {

namespace fs = std::filesystem;
using test::Owned;

const CFStringRef kDomain = CFSTR("com.korvane.test");

Owned<CFStringRef> Text(const std::string& text) {
  return Owned<CFStringRef>(CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8));
}

void Set(const std::string& key, const std::string& value) {
  CFPreferencesSetValue(Text(key).get(), Text(value).get(), kDomain, kCFPreferencesAnyUser,
                        kCFPreferencesCurrentHost);
}

bool Synchronize(CFStringRef domain = kDomain) {
  return CFPreferencesSynchronize(domain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost) != 0;
}

// "-" when nothing is stored.
std::string Get(const std::string& key) {
  const Owned<CFTypeRef> value(
      CFPreferencesCopyValue(Text(key).get(), kDomain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost));
  return value ? test::Utf8Of(static_cast<CFStringRef>(value.get())) : "-";
}

bool IsDictionary(const std::string& path) {
  const std::string bytes = test::FileText(path);
  const Owned<CFDataRef> data(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                           static_cast<CFIndex>(bytes.size())));
  const Owned<CFTypeRef> list(CFPropertyListCreateWithData(nullptr, data.get(), 0, nullptr, nullptr));
  return list && CFGetTypeID(list.get()) == CFDictionaryGetTypeID();
}

class PreferencesTest : public testing::Test {
 protected:
  PreferencesTest() { setenv("KORVANE_PREFERENCES_DIR", prefs_.c_str(), 1); }

  const test::TemporaryFolder folder_;
  const std::string prefs_ = folder_ / "a/b";
  const std::string file_ = prefs_ + "/com.korvane.test.plist";
  const std::string new_ = prefs_ + "/.com.korvane.test.plist.new";
};

TEST_F(PreferencesTest, AValueIsStoredAsACopyAndSeenBeforeItIsWritten) {
  umask(077);
  const Owned<CFMutableDictionaryRef> value(CFDictionaryCreateMutable(
      nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFPreferencesSetValue(CFSTR("key"), value.get(), kDomain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
  CFDictionarySetValue(value.get(), CFSTR("later"), kCFBooleanTrue);
  const Owned<CFTypeRef> stored(
      CFPreferencesCopyValue(CFSTR("key"), kDomain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost));
  EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(stored.get())), 0);
  EXPECT_FALSE(fs::exists(file_));

  EXPECT_TRUE(Synchronize());
  EXPECT_EQ(test::FilePermissions(file_), 0644U) << "whatever the umask";
  EXPECT_EQ(test::FilePermissions(prefs_), 0755U);
  EXPECT_NE(test::FileText(file_).find("<key>key</key>"), std::string::npos) << "people read it";
}

TEST_F(PreferencesTest, AnUnsavedChangeHereAndASavedOneThereBothSurvive) {
  Set("old", "1");
  ASSERT_TRUE(Synchronize());
  Set("here", "2");
  test::RunInChild([] {
    Set("there", "3");
    CFPreferencesSetValue(CFSTR("old"), nullptr, kDomain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    Synchronize();
  });
  EXPECT_EQ(Get("there"), "-") << "seen at the next synchronisation, not before";
  EXPECT_TRUE(Synchronize());
  EXPECT_EQ(Get("here") + Get("there") + Get("old"), "23-");
}

// Every writer adds a key a round, so a save over a stale state loses one for good.
TEST_F(PreferencesTest, ManyProcessesThatSaveDifferentKeysLoseNothing) {
  constexpr int kWriters = 6;
  constexpr int kRounds = 20;
  std::vector<pid_t> writers;
  for (int writer = 0; writer < kWriters; ++writer) {
    writers.push_back(fork());
    if (writers.back() != 0) continue;
    bool saved = true;
    for (int round = 0; round < kRounds; ++round) {
      Set(std::to_string(writer) + "." + std::to_string(round), "set");
      saved = Synchronize() && saved;
    }
    _exit(saved ? 0 : 1);
  }
  for (const pid_t writer : writers) EXPECT_EQ(test::WaitForChild(writer), 0);
  for (int writer = 0; writer < kWriters; ++writer)
    for (int round = 0; round < kRounds; ++round)
      EXPECT_EQ(Get(std::to_string(writer) + "." + std::to_string(round)), "set") << writer << "." << round;
}

// Readers compare times; two saves in one tick of the kernel's clock, or a clock that was set back, must not
// look alike to them.
TEST_F(PreferencesTest, ASaveIsLaterThanTheOneBeforeWhateverTheClockSays) {
  Set("key", "1");
  ASSERT_TRUE(Synchronize());
  const auto future = fs::last_write_time(file_) + std::chrono::hours(1);
  fs::last_write_time(file_, future);
  Set("key", "2");
  ASSERT_TRUE(Synchronize());
  EXPECT_GT(fs::last_write_time(file_), future);
}

TEST_F(PreferencesTest, ThreadsSetReadAndSaveAtOnce) {
  constexpr int kRounds = 20;
  std::vector<std::thread> threads;
  for (const char* name : {"a", "b", "c"})
    threads.emplace_back([name] {
      for (int round = 0; round < kRounds; ++round) {
        Set(name, std::to_string(round));
        EXPECT_EQ(Get(name), std::to_string(round)) << "never an older one, also while it is written";
        EXPECT_TRUE(Synchronize());
        EXPECT_EQ(Get(name), std::to_string(round));
      }
    });
  for (std::thread& thread : threads) thread.join();
}

TEST_F(PreferencesTest, AWriterThatIsKilledLeavesAWholeFile) {
  Set("big", std::string(300000, 'x'));
  ASSERT_TRUE(Synchronize());
  for (int round = 0; round < 30; ++round) {
    const pid_t writer = fork();
    if (writer == 0) {
      for (int i = 0;; ++i) {
        Set("count", std::to_string(i));
        Synchronize();
      }
    }
    // In the middle of a file that is not in place yet.
    EXPECT_TRUE(test::WaitFor([&] { return fs::exists(new_); }));
    kill(writer, SIGKILL);
    test::WaitForChild(writer);
    ASSERT_TRUE(IsDictionary(file_)) << "round " << round;
  }

  // What such a writer, or a malicious one, leaves behind is neither followed nor kept.
  const std::string victim = folder_ / "victim";
  std::ofstream(victim) << "untouched";
  fs::remove(new_);
  fs::create_symlink(victim, new_);
  Set("count", "last");
  EXPECT_TRUE(Synchronize());
  EXPECT_FALSE(fs::is_symlink(fs::symlink_status(new_)) || fs::is_symlink(fs::symlink_status(file_)));
  EXPECT_EQ(test::FileText(victim), "untouched");
}

TEST_F(PreferencesTest, ADamagedFileIsReportedAndKeptAside) {
  fs::create_directories(prefs_);
  const std::string contents[] = {"", "bplist00 and no more", "<plist version=\"1.0\"><array/></plist>"};
  int number = 0;
  for (const std::string& content : contents) {
    std::ofstream(file_, std::ios::trunc) << content;
    const std::string kept = file_ + ".damaged" + (++number == 1 ? "" : "-" + std::to_string(number));
    const std::string said = test::StandardErrorOf([] {
      Synchronize();
      Synchronize();
    });
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_NE(said.find(file_ + " is damaged"), std::string::npos) << said;
    EXPECT_NE(said.find("kept as " + kept + "\n"), std::string::npos) << said;
    EXPECT_EQ(Get("key"), "-");
    EXPECT_FALSE(fs::exists(file_));
    EXPECT_EQ(test::FileText(kept), content);
  }
  EXPECT_EQ(test::FileText(file_ + ".damaged"), contents[0]) << "never overwritten";
  Set("key", "value");
  EXPECT_TRUE(Synchronize());
}

TEST_F(PreferencesTest, AFileThatMayNotBeReadIsLeftAlone) {
  Set("key", "value");
  ASSERT_TRUE(Synchronize());
  for (fs::path folder = prefs_; folder != folder_.Path().parent_path(); folder = folder.parent_path())
    chmod(folder.c_str(), 0777);  // the folder would let it be moved or replaced
  chmod(file_.c_str(), 0);
  fs::remove(prefs_ + "/.com.korvane.test.plist.lock");
  const auto result = test::RunInChild([] {
    constexpr uid_t kNobody = 65534;
    if (geteuid() == 0 && seteuid(kNobody) != 0) _exit(2);
    Synchronize();
    Set("other", "value");
    if (Synchronize() || Get("other") != "value") _exit(1);
  });
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.errors.find("cannot read " + file_ + ": Permission denied"), std::string::npos)
      << result.errors;
  EXPECT_TRUE(IsDictionary(file_));
  EXPECT_FALSE(fs::exists(file_ + ".damaged"));
}

TEST_F(PreferencesTest, WhatCannotBeWrittenIsKeptAndTriedAgain) {
  std::ofstream{folder_ / "a"};  // root's rights reach everywhere, but not into a file
  Set("key", "value");
  const std::string said = test::StandardErrorOf([] {
    EXPECT_FALSE(Synchronize());
    EXPECT_FALSE(Synchronize());
  });
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << "told once: " << said;
  EXPECT_EQ(Get("key"), "value");
  fs::remove(folder_ / "a");
  EXPECT_TRUE(Synchronize());
  EXPECT_TRUE(IsDictionary(file_));
}

TEST_F(PreferencesTest, NamesThatLeadElsewhereAreRefused) {
  for (const char* name : {"", "..", "../com.korvane.test", "sub/name", "/etc/name"}) {
    const Owned<CFStringRef> domain = Text(name);
    CFPreferencesSetValue(CFSTR("key"), kCFBooleanTrue, domain.get(), kCFPreferencesAnyUser,
                          kCFPreferencesCurrentHost);
    EXPECT_FALSE(Synchronize(domain.get())) << name;
  }
  EXPECT_FALSE(fs::exists(folder_ / "a"));
}

TEST_F(PreferencesTest, TheUsersLanguagesComeFromTheFileElseFromTheEnvironment) {
  const auto first = [] {
    const Owned<CFTypeRef> list(CFPreferencesCopyValue(CFSTR("AppleLanguages"), kCFPreferencesAnyApplication,
                                                       kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    if (!list) return std::string("-");
    return test::Utf8Of(
        static_cast<CFStringRef>(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(list.get()), 0)));
  };
  setenv("HOME", folder_.Path().c_str(), 1);
  setenv("LANGUAGE", "C", 1);
  EXPECT_EQ(first(), "-");
  setenv("LANGUAGE", "de_CH.UTF-8:en", 1);
  EXPECT_EQ(first(), "de-CH");

  fs::create_directories(folder_ / "Library/Preferences");
  std::ofstream(folder_ / "Library/Preferences/.GlobalPreferences.plist")
      << R"(<plist version="1.0"><dict><key>AppleLanguages</key><array><string>fr</string></array></dict></plist>)";
  CFPreferencesSynchronize(kCFPreferencesAnyApplication, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
  EXPECT_EQ(first(), "fr");
}

}  // namespace
