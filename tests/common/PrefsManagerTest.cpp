// Typed access to the store, whose values are whose, and the machine's identifiers.
#include "common/KCPrefsManager.h"

#include <sys/stat.h>

#include "common/KCFolderManager.h"
#include "common/KCPrefsScanner.h"
#include "common/KCPrefsTarvex.h"
#include "platform/System.h"
#include "tests/common/PrefsTest.h"
#include "tests/support/StandardError.h"

namespace {

using test::TextOf;

class PrefsManagerTest : public test::PrefsTest {
 protected:
  const KCPrefsManager thing_{CFSTR("com.korvane.thing")};
};

TEST_F(PrefsManagerTest, WhatIsMissingOrOfAnotherTypeIsTheDefault) {
  WriteComponent("com.korvane.thing",
                 "<key>one</key><integer>1</integer><key>wide</key><integer>70000</integer>"
                 "<key>empty</key><string></string><key>text</key><string>5</string>"
                 "<key>yes</key><true/><key>url</key><string>no url</string>");
  const CFStringRef fallback = CFSTR("default");
  EXPECT_FALSE(thing_.GetBooleanPreference(CFSTR("one"), false)) << "a number is no boolean";
  EXPECT_TRUE(thing_.GetBooleanPreference(CFSTR("yes"), false));
  EXPECT_EQ(thing_.GetStringPreference(CFSTR("empty"), fallback), fallback);
  EXPECT_EQ(thing_.GetStringPreference(CFSTR("one"), fallback), fallback);
  EXPECT_EQ(thing_.GetStringPreference(CFSTR("none"), nullptr), nullptr);
  EXPECT_EQ(thing_.GetNumberPreference(CFSTR("text"), 7), 7);
  EXPECT_EQ(thing_.GetNumberPreference(CFSTR("yes"), 7LL), 7);
  EXPECT_EQ(thing_.GetNumberPreference(CFSTR("wide"), 7), 70000);
  EXPECT_EQ(thing_.GetNumberPreference(CFSTR("wide"), short{7}), 4464) << "cut to its width";
  EXPECT_EQ(thing_.GetDatePreference(CFSTR("text"), nullptr), nullptr);
  EXPECT_EQ(thing_.GetDictionaryPreference(CFSTR("text"), nullptr), nullptr);
  const StCFTypeRef<CFURLRef> path(thing_.GetURLPreference(CFSTR("url"), CFSTR("/default"), true));
  EXPECT_TRUE(TextOf(CFURLGetString(path)).ends_with("no%20url/")) << "no URL, so a path";
  const StCFTypeRef<CFURLRef> byDefault(thing_.GetURLPreference(CFSTR("empty"), CFSTR("/default"), true));
  EXPECT_EQ(TextOf(CFURLGetString(byDefault)), "file:///default/");
  EXPECT_EQ(thing_.GetURLPreference(CFSTR("empty"), CFSTR(""), true), nullptr);
}

TEST_F(PrefsManagerTest, AStoredValueIsTheCallersAndADefaultComesAsItIs) {
  const StCFTypeRef<CFStringRef> fallback(
      CFStringCreateWithCString(nullptr, "default", kCFStringEncodingUTF8));
  EXPECT_EQ(thing_.GetStringPreference(CFSTR("key"), fallback), fallback.get());
  EXPECT_EQ(CFGetRetainCount(fallback), 1);
  thing_.SaveStringPreference(CFSTR("key"), CFSTR("stored"));
  const StCFTypeRef<CFStringRef> stored(thing_.GetStringPreference(CFSTR("key"), fallback));
  EXPECT_EQ(TextOf(stored), "stored");
  EXPECT_EQ(CFGetRetainCount(stored), 2) << "the store's own and the caller's";
}

TEST_F(PrefsManagerTest, EverySaveKeepsTheOtherKeysAndItsForm) {
  thing_.SaveBooleanPreference(CFSTR("boolean"), true);
  thing_.SaveNumberPreference(CFSTR("number"), -5LL);
  const StCFTypeRef<CFUUIDRef> uuid(CFUUIDCreate(nullptr));
  thing_.SaveUUIDPreference(CFSTR("uuid"), uuid);
  Handle bytes = nullptr;
  ASSERT_EQ(PtrToHand("\0\1\2", &bytes, 3), noErr);
  thing_.SaveHandlePreference(CFSTR("bytes"), bytes);
  const std::string store = StoredText();
  for (const char* part : {"<key>boolean</key>", "<true/>", "<integer>-5</integer>", "AAEC"})
    EXPECT_NE(store.find(part), std::string::npos) << part << " in " << store;
  const StCFTypeRef<CFStringRef> text(thing_.GetStringPreference(CFSTR("uuid"), nullptr));
  EXPECT_EQ(TextOf(text).size(), 36U);

  const Handle stored = thing_.GetHandlePreference(CFSTR("bytes"), nullptr);
  ASSERT_EQ(GetHandleSize(stored), 3);
  EXPECT_EQ(std::string(*stored, 3), std::string("\0\1\2", 3));
  DisposeHandle(stored);
  EXPECT_EQ(thing_.GetHandlePreference(CFSTR("other"), bytes), bytes);
  EXPECT_NE(StoredText().find("<key>other</key>"), std::string::npos) << "a default handle is saved";
  DisposeHandle(bytes);
}

TEST_F(PrefsManagerTest, ASaveThatFailsIsLoggedAndNotLost) {
  SetRootFolder((folder_ / "root").c_str());
  setenv("KORVANE_PREFERENCES_DIR", (folder_ / "file/below").c_str(), 1);
  std::ofstream{folder_ / "file"};
  const std::string said =
      test::StandardErrorOf([this] { thing_.SaveBooleanPreference(CFSTR("key"), true); });
  EXPECT_NE(said.find("KCPrefsManager::SynchronizePreferences(): CFPreferencesAppSynchronize failed."),
            std::string::npos)
      << said;
  EXPECT_TRUE(thing_.GetBooleanPreference(CFSTR("key"), false));
}

TEST_F(PrefsManagerTest, TheServersAddressHasADefaultAndALine) {
  SetRootFolder((folder_ / "root").c_str());
  const std::string said =
      test::StandardErrorOf([] { EXPECT_EQ(TextOf(KCPrefsManager::GetServerIPAddress()), "10.0.0.1"); });
  EXPECT_NE(said.find("Didn't find the server IP Address. Returning default…\n"), std::string::npos) << said;
  KCPrefsManager::SetServerIPAddress(CFSTR("192.0.2.1"));
  const StCFTypeRef<CFStringRef> address(KCPrefsManager::GetServerIPAddress());
  EXPECT_EQ(TextOf(address), "192.0.2.1");
}

// The stored identifier and its source; what becomes of them.
TEST_F(PrefsManagerTest, AScannersIdentifierOfAnotherSourceMovesToTheOldOne) {
  const std::string profiler = folder_ / "profiler";
  std::ofstream(profiler) << "#!/bin/sh\necho '<plist version=\"1.0\"><array><dict><key>_items</key><array>"
                             "<dict><key>platform_UUID</key><string>HW</string></dict></array></dict></array>"
                             "</plist>'\n";
  chmod(profiler.c_str(), 0755);
  platform::SetSystemFiles({"", "", profiler});
  constexpr struct {
    const char *stored, *source, *scanner, *old;
  } kRows[] = {{"abc", "", "HW", "{abc}"},
               {"{abc}", "Other", "HW", "{abc}"},
               {"{abc", "hardwareuuid", "HW", "{abc}"},
               {"", "", "HW", ""},
               {"abc", "HardwareUUID", "abc", ""}};
  const auto entry = [](const std::string& key, const std::string& value) {
    return value.empty() ? "" : "<key>" + key + "</key><string>" + value + "</string>";
  };
  for (const auto& row : kRows) {
    Write("com.korvane.uuid", entry("ScannerUUID", row.stored) + entry("ScannerUUIDSource", row.source));
    CFPreferencesSynchronize(kKVMSUUIDID, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    for (int i = 0; i < 2; ++i) {
      const StCFTypeRef<CFStringRef> scanner(KCPrefsManager::GetScannerUUIDAsString());
      EXPECT_EQ(TextOf(scanner), row.scanner) << row.stored;
      const StCFTypeRef<CFStringRef> old(KCPrefsManager::GetOldScannerUUIDAsString());
      EXPECT_EQ(TextOf(old), row.old) << row.stored;
    }
  }
}

TEST_F(PrefsManagerTest, TheProductsBuildHasDomainsOfItsOwn) {
  SetRootFolder((folder_ / "root").c_str());
  EXPECT_TRUE(KCPrefsManager::ConfigureSDKPrefs());
  EXPECT_EQ(TextOf(kKVMSApplicationID), "com.qrmacpatch.qrms");
  EXPECT_EQ(TextOf(kTarvexApplicationID), "com.qrmacpatch.patch");
  EXPECT_EQ(TextOf(kZVTApplicationID), "com.qrmacpatch.scanner");
  EXPECT_EQ(TextOf(kKVMSUUIDID), "com.qrmacpatch.uuid");
  thing_.SaveBooleanPreference(CFSTR("key"), true);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "com.qrmacpatch.qrms.plist"));
}

TEST_F(PrefsManagerTest, TheScannersAndThePatchProductsSettings) {
  SetRootFolder((folder_ / "root").c_str());
  const KCPrefsScanner* scanner = KCPrefsScanner::GetPrefs();
  EXPECT_EQ(TextOf(scanner->GetAgentDirectory()), folder_ / "root");
  const StCFTypeRef<CFURLRef> scans(scanner->GetScanFileURL());
  EXPECT_EQ(TextOf(CFURLGetString(scans)), "file://" + (folder_ / "root/Scans/"));
  EXPECT_EQ(scanner->GetServerPort(), 5007);
  EXPECT_FALSE(scanner->GetSoftwareFlag(CFSTR("Multimedia Files")));
  EXPECT_NE(StoredText().find("<key>SoftwareFlags</key>"), std::string::npos);
  for (const char* flag : {"Applications", "Drivers and Plug-ins", "Fonts"}) {
    EXPECT_TRUE(scanner->HasSoftwareFlags());
    const StCFTypeRef<CFStringRef> name(CFStringCreateWithCString(nullptr, flag, kCFStringEncodingUTF8));
    EXPECT_TRUE(scanner->GetSoftwareFlag(name)) << flag;
    scanner->SetSoftwareFlag(name, false);
  }
  EXPECT_FALSE(scanner->HasSoftwareFlags());
  EXPECT_TRUE(scanner->HasHardwareFlags());

  const StCFTypeRef<CFDictionaryRef> numbers(KCPrefsTarvex::GetPrefs()->GetLastUpdateNumber(CFSTR("item")));
  EXPECT_EQ(CFDictionaryGetCount(numbers), 0);
  EXPECT_NE(StoredText().find("<key>item:Last Update Number</key>"), std::string::npos);
}

}  // namespace
