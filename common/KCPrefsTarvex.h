// The settings of the patch product.
#pragma once
#include <span>

#include "common/KCPrefsTable.h"

// constant, key, kind, default; the names of the default, the getter and the setter.
// clang-format off
#define KC_PREFS_TARVEX(ROW) \
    ROW(kTarvexLastVulnerabilityScanDate, "LastVulnerabilityScan",    Date,   nullptr, GetDefaultLastVulnerabilityScanDate, GetLastVulnerabilityScanDate, SetLastVulnerabilityScanDate) \
    ROW(kTarvexUpdateServer,              "UpdateServer",             String, nullptr, GetDefaultUpdateServer,              GetUpdateServer,              SetUpdateServer)              \
    ROW(kTarvexComputerScopes,            "ComputerScopes",           String, nullptr, GetDefaultComputerScopes,            GetComputerScopes,            SetComputerScopes)            \
    ROW(kTarvexDefaultKAVBehaviors,       "DefaultKAVBehaviors",      String, nullptr, GetDefaultDefaultKAVBehaviors,       GetDefaultKAVBehaviors,       SetDefaultKAVBehaviors)       \
    ROW(kTarvexConfiguredKAVBehaviors,    "ConfiguredKAVBehaviors",   String, nullptr, GetDefaultConfiguredKAVBehaviors,    GetConfiguredKAVBehaviors,    SetConfiguredKAVBehaviors)    \
    ROW(kTarvexCurrentKAVBehaviors,       "CurrentKAVBehaviors",      String, nullptr, GetDefaultCurrentKAVBehaviors,       GetCurrentKAVBehaviors,       SetCurrentKAVBehaviors)       \
    ROW(kTarvexConfiguredPowerBehaviors,  "ConfiguredPowerBehaviors", String, nullptr, GetDefaultConfiguredPowerBehaviors,  GetConfiguredPowerBehaviors,  SetConfiguredPowerBehaviors)
// clang-format on

KC_PREFS_TARVEX(KC_PREF_CONSTANT)
// The second half of a key whose first half is an item's name.
inline const CFStringRef kTarvexLastUpdateNumber = CFSTR("Last Update Number");

// One for the process. Getters ask the store every time; the first GetPrefs comes before other threads use
// it.
class KCPrefsTarvex : public KCPrefsManager {
 public:
  // Takes over what other processes have changed since the last call.
  [[nodiscard]] static KCPrefsTarvex* GetPrefs();

  KC_PREFS_TARVEX(KC_PREF_ACCESSORS)

  [[nodiscard]] static std::span<const KCPrefRow> Table();

  // One dictionary an item, empty at first. The caller releases.
  [[nodiscard]] static CFDictionaryRef GetDefaultLastUpdateNumbers();
  [[nodiscard]] CFDictionaryRef GetLastUpdateNumber(CFStringRef item) const;
  void SetLastUpdateNumber(CFStringRef item, CFDictionaryRef numbers) const;

 private:
  KCPrefsTarvex() : KCPrefsManager(kTarvexApplicationID) {}

  static KCPrefsTarvex* fSingleton;  // lives to the end of the process
};
