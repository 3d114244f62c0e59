// The settings of the inventory scanner.
#pragma once
#include <span>

#include "common/KCPrefsTable.h"

// constant, key, kind, default; the names of the default, the getter and the setter.
// clang-format off
#define KC_PREFS_SCANNER(ROW) \
    ROW(kZVTPref_ScanAtStartup,              "ScanAtStartup",              Boolean,      true,                         GetDefaultScanAtStartup,              GetScanAtStartup,              SetScanAtStartup)              \
    ROW(kZVTPref_ScanAtLogin,                "ScanAtLogin",                Boolean,      true,                         GetDefaultScanAtLogin,                GetScanAtLogin,                SetScanAtLogin)                \
    ROW(kZVTPref_ScanAtIPv4Change,           "ScanAtIPv4Change",           Boolean,      true,                         GetDefaultScanAtIPv4Change,           GetScanAtIPv4Change,           SetScanAtIPv4Change)           \
    ROW(kZVTPref_ScanAtPoweredOn,            "ScanAtPoweredOn",            Boolean,      true,                         GetDefaultScanAtPoweredOn,            GetScanAtPoweredOn,            SetScanAtPoweredOn)            \
    ROW(kZVTPref_AgentDirectory,             "AgentDirectory",             String,       FetchFolderRef(kFolderRoot),  GetDefaultAgentDirectory,             GetAgentDirectory,             SetAgentDirectory)             \
    ROW(kZVTPref_SDKResultsDirectory,        "SDKResultsDirectory",        String,       FetchFolderRef(kFolderRoot),  GetDefaultSDKResultsDirectory,        GetSDKResultsDirectory,        SetSDKResultsDirectory)        \
    ROW(kZVTPref_SDKLogDirectory,            "SDKLogDirectory",            String,       FetchFolderRef(kFolderRoot),  GetDefaultSDKLogDirectory,            GetSDKLogDirectory,            SetSDKLogDirectory)            \
    ROW(kZVTPref_SDKLogFile,                 "SDKLogFile",                 String,       FetchFolderRef(kFolderRoot),  GetDefaultSDKLogFile,                 GetSDKLogFile,                 SetSDKLogFile)                 \
    ROW(kZVTPref_PatchDownloadServer,        "PatchDownloadServer",        String,       CFSTR(""),                    GetDefaultPatchDownloadServer,        GetPatchDownloadServer,        SetPatchDownloadServer)        \
    ROW(kZVTPref_ScanToFile,                 "ScanToFile",                 Boolean,      true,                         GetDefaultScanToFile,                 GetScanToFile,                 SetScanToFile)                 \
    ROW(kZVTPref_ScanFileURL,                "ScanFileURL",                DirectoryURL, FetchFolderRef(kFolderScans), GetDefaultScanFileDirectory,          GetScanFileURL,                SetScanFileURL)                \
    ROW(kZVTPref_ScanToServer,               "ScanToServer",               Boolean,      false,                        GetDefaultScanToServer,               GetScanToServer,               SetScanToServer)               \
    ROW(kZVTPref_AutoDownloadKVAppl,         "AutoDownloadKVAppl",         Boolean,      true,                         GetDefaultAutoDownloadKVAppl,         GetAutoDownloadKVAppl,         SetAutoDownloadKVAppl)         \
    ROW(kZVTPref_ServerPort,                 "ServerPort",                 Number16,     5007,                         GetDefaultServerPort,                 GetServerPort,                 SetServerPort)                 \
    ROW(kZVTPref_ForceSoftwareScan,          "ForceSoftwareScan",          Boolean,      false,                        GetDefaultForceSoftwareScan,          GetForceSoftwareScan,          SetForceSoftwareScan)          \
    ROW(kZVTPref_ScanOnlyApplicationsFolder, "ScanOnlyApplicationsFolder", Boolean,      false,                        GetDefaultScanOnlyApplicationsFolder, GetScanOnlyApplicationsFolder, SetScanOnlyApplicationsFolder) \
    ROW(kZVTPref_LastSoftwareScan,           "LastSoftwareScan",           Date,         nullptr,                      GetDefaultLastSoftwareScan,           GetLastSoftwareScan,           SetLastSoftwareScan)           \
    ROW(kZVTPref_Silent,                     "Silent",                     Boolean,      true,                         GetDefaultSilent,                     GetSilent,                     SetSilent)                     \
    ROW(kZVTPref_SoftwareFlags,              "SoftwareFlags",              Flags,        CreateSoftwareFlags(),        GetDefaultSoftwareFlags,              GetSoftwareFlags,              SetSoftwareFlags)              \
    ROW(kZVTPref_HardwareFlags,              "HardwareFlags",              Flags,        CreateHardwareFlags(),        GetDefaultHardwareFlags,              GetHardwareFlags,              SetHardwareFlags)
// clang-format on

KC_PREFS_SCANNER(KC_PREF_CONSTANT)

// One for the process. Getters ask the store every time; the first GetPrefs comes before other threads use
// it.
class KCPrefsScanner : public KCPrefsManager {
 public:
  // Takes over what other processes have changed since the last call.
  [[nodiscard]] static KCPrefsScanner* GetPrefs();

  KC_PREFS_SCANNER(KC_PREF_ACCESSORS)

  [[nodiscard]] static std::span<const KCPrefRow> Table();

  // The kinds of software and hardware that are looked for.
  [[nodiscard]] bool GetSoftwareFlag(CFStringRef flag) const;
  void SetSoftwareFlag(CFStringRef flag, bool on) const;
  [[nodiscard]] bool GetHardwareFlag(CFStringRef flag) const;
  void SetHardwareFlag(CFStringRef flag, bool on) const;
  // At least one flag is on.
  [[nodiscard]] bool HasSoftwareFlags() const;
  [[nodiscard]] bool HasHardwareFlags() const;

 private:
  KCPrefsScanner() : KCPrefsManager(kZVTApplicationID) {}

  // New dictionaries with the defaults.
  static CFDictionaryRef CreateSoftwareFlags();
  static CFDictionaryRef CreateHardwareFlags();

  static KCPrefsScanner* fSingleton;  // lives to the end of the process
};
