// The remote-control settings: masks, levels, getters that heal the store, and other processes.
#include "common/KCPrefsRemote.h"

#include "tests/common/PrefsTest.h"
#include "tests/support/ChildProcess.h"

namespace {

class PrefsRemoteTest : public test::PrefsTest {
 protected:
  [[nodiscard]] bool IsStored(const std::string& part) const {
    return StoredText().find(part) != std::string::npos;
  }
};

TEST_F(PrefsRemoteTest, AnEmptyStoreGrantsItsDefaults) {
  const KCPrefsRemote* prefs = KCPrefsRemote::GetPrefs();
  EXPECT_FALSE(IsStored("com.korvane.remote"));
  EXPECT_EQ(prefs->GetFTCapabilityFlags(), 0x169F1U);
  EXPECT_TRUE(IsStored("<key>FileTransferFlags</key>"));
  EXPECT_EQ(prefs->GetAccessRightsFlags(), 0xF1U);
  EXPECT_EQ(prefs->Get9535AccessRightsFlags(), 0x5FU);
  EXPECT_EQ(prefs->GetSocketListenerPort(), 1761);
  EXPECT_EQ(prefs->GetSocketResponderPort(), 1762);
  EXPECT_EQ(prefs->GetCompressionSettings(), nullptr);
}

// What is taken away, and the masks that remain.
TEST_F(PrefsRemoteTest, EveryRightHasItsBits) {
  const KCPrefsRemote* prefs = KCPrefsRemote::GetPrefs();
  prefs->SetOpenAppsFiles(false);
  EXPECT_EQ(prefs->GetAccessRightsFlags(), 0x71U);
  EXPECT_EQ(prefs->GetFTCapabilityFlags(), 0x169F1U & ~0x180U) << "both of the group are set";
  prefs->SetFileTransferFlag(kFTCapability_COPY_FILE, false);
  EXPECT_EQ(prefs->GetAccessRightsFlags(), 0x71U) << "delete and rename are still on";
  prefs->SetFileTransferFlag(kFTCapability_RENAME, false);
  EXPECT_EQ(prefs->GetAccessRightsFlags(), 0x51U);
  prefs->SetRestartShutdown(false);
  EXPECT_EQ(prefs->Get9535AccessRightsFlags(), 0x43U);
  prefs->SetControlObserve(false);
  EXPECT_EQ(prefs->GetAccessRightsFlags(), 0U);
  prefs->SetFileTransferFlag(kFTCapability_FIND, true);
  EXPECT_EQ(prefs->GetFTCapabilityFlags() & 0x6U, 0x4U);

  // A flag that the stored dictionary lacks, or that is no boolean, is off.
  WriteComponent("com.korvane.remote",
                 "<key>FileTransferFlags</key><dict><key>Enum</key><integer>1</integer>"
                 "<key>MultipleSessions</key><true/></dict>");
  EXPECT_EQ(prefs->GetFTCapabilityFlags(), 0x40000U);
}

TEST_F(PrefsRemoteTest, GettersHealWhatIsNegativeOrMissing) {
  WriteComponent("com.korvane.remote", "<key>SecurityType</key><integer>-3</integer>");
  const KCPrefsRemote* prefs = KCPrefsRemote::GetPrefs();
  EXPECT_EQ(prefs->GetBitDepth(), 0);
  EXPECT_FALSE(IsStored("BitDepth")) << "the others never write";
  EXPECT_EQ(prefs->GetSecurityType(), 9);
  EXPECT_TRUE(IsStored("<integer>9</integer>") && !IsStored("<integer>-3</integer>"));
  EXPECT_EQ(prefs->GetInactivityTimeout(), 10);
  EXPECT_TRUE(IsStored("<integer>10</integer>"));
  EXPECT_EQ(prefs->GetAllowHtml5Access(), 0);
  EXPECT_TRUE(IsStored("<key>AllowHTML5Access</key>"));
}

TEST_F(PrefsRemoteTest, AStandAloneProcessHasNoSecurityTypeAndAlwaysObserves) {
  SetRootFolder((folder_ / "root").c_str());
  const KCPrefsRemote* prefs = KCPrefsRemote::GetPrefs();
  EXPECT_EQ(prefs->GetSecurityType(), 0);
  EXPECT_FALSE(IsStored("SecurityType"));
  prefs->SetControlObserve(false);
  EXPECT_EQ(prefs->GetAccessRightsFlags() & 0x1U, 0x1U);
}

TEST_F(PrefsRemoteTest, ALevelIsLookedUpByItsNumber) {
  const KCPrefsRemote* prefs = KCPrefsRemote::GetPrefs();
  const auto expect = [prefs](uint8_t level, unsigned long bits, unsigned long updates, double seconds) {
    unsigned long bitsFound = ~0UL;
    unsigned long updatesFound = ~0UL;
    double secondsFound = 3;
    prefs->GetPerformanceSettings(level, bitsFound, updatesFound, secondsFound);
    EXPECT_EQ(bitsFound, bits) << int{level};
    EXPECT_EQ(updatesFound, updates) << int{level};
    EXPECT_EQ(secondsFound, seconds) << int{level};
  };
  expect(255, 16, 0, 3);
  expect(1, 0, 0, 3);
  expect(7, 0, 0, 3);
  expect(4, 16, 15, 3);
  EXPECT_TRUE(IsStored("<key>PerformanceSettings</key>"));
  EXPECT_FALSE(IsStored("SecondsPerKeyFrame"));
  WriteComponent("com.korvane.remote",
                 "<key>PerformanceSettings</key><dict><key>7</key><dict><key>BitsPerPixel</key>"
                 "<integer>-1</integer><key>SecondsPerKeyFrame</key><real>2.5</real></dict></dict>");
  expect(7, 0xFFFFFFFF, 0, 2.5);
}

TEST_F(PrefsRemoteTest, AnotherProcesssChangeIsSeenByTheNextGetPrefs) {
  ASSERT_TRUE(KCPrefsRemote::GetPrefs()->GetBlankScreen());
  test::RunInChild([] { KCPrefsRemote::GetPrefs()->SetBlankScreen(false); });
  EXPECT_FALSE(KCPrefsRemote::GetPrefs()->GetBlankScreen());
}

}  // namespace
