// What a remote operator may do on this machine, how its user is told, and how the screen is sent.
#pragma once
#include <array>
#include <cstdint>
#include <span>

#include "common/KCPrefsTable.h"

// constant, key, kind, default; the names of the default, the getter and the setter.
// clang-format off
#define KC_PREFS_REMOTE(ROW) \
    ROW(kUSRPref_LockKeyboardMouse,   "AllowHIDLock",         Boolean,                true,           GetDefaultLockKeyboardMouse,   GetLockKeyboardMouse,   SetLockKeyboardMouse)   \
    ROW(kUSRPref_BlankScreen,         "AllowBlankScreen",     Boolean,                true,           GetDefaultBlankScreen,         GetBlankScreen,         SetBlankScreen)         \
    ROW(kUSRPref_RestartShutdown,     "AllowRestartShutdown", Boolean,                true,           GetDefaultRestartShutdown,     GetRestartShutdown,     SetRestartShutdown)     \
    ROW(kUSRPref_ControlObserve,      "AllowControlObserve",  Boolean,                true,           GetDefaultControlObserve,      GetControlObserve,      SetControlObserve)      \
    ROW(kUSRPref_NotifyObservation,   "NotifyObservation",    Boolean,                true,           GetDefaultObserveNotification, GetObserveNotification, SetObserveNotification) \
    ROW(kUSRPref_UserControlFilter,   "UserControlFilter",    Boolean,                false,          GetDefaultPermissionRequired,  GetPermissionRequired,  SetPermissionRequired)  \
    ROW(kUSRPref_BitDepth,            "BitDepth",             Number32,               0,              GetDefaultBitDepth,            GetBitDepth,            SetBitDepth)            \
    ROW(kUSRPref_UseQuickTime,        "UseQuickTime",         Boolean,                false,          GetDefaultUseQuickTime,        GetUseQuickTime,        SetUseQuickTime)        \
    ROW(kUSRPref_BufferScreen,        "BufferScreen",         Boolean,                true,           GetDefaultBufferScreen,        GetBufferScreen,        SetBufferScreen)        \
    ROW(kUSRPref_CompressionSettings, "CompressionSettings",  Bytes,                  nullptr,        GetDefaultCompressionSettings, GetCompressionSettings, SetCompressionSettings) \
    ROW(kUSRPref_FileTransferFlags,   "FileTransferFlags",    Flags,                  CreateFlags(),  GetDefaultFileTransferFlags,   GetFileTransferFlags,   SetFileTransferFlags)   \
    ROW(kUSRPref_SocketListenerPort,  "SocketListenerPort",   Number16,               1761,           GetDefaultSocketListenerPort,  GetSocketListenerPort,  SetSocketListenerPort)  \
    ROW(kUSRPref_SocketResponderPort, "SocketResponderPort",  Number16,               1762,           GetDefaultSocketResponderPort, GetSocketResponderPort, SetSocketResponderPort) \
    ROW(kUSRPref_PerformanceSettings, "PerformanceSettings",  Levels,                 CreateLevels(), GetDefaultPerformanceSettings, GetPerformanceSettings, SetPerformanceSettings) \
    ROW(kUSRPref_SecurityType,        "SecurityType",         HealedUnlessStandAlone, 9,              GetDefaultSecurityType,        GetSecurityType,        SetSecurityType)        \
    ROW(kUSRPref_InactivityTimeout,   "InactivityTimeout",    HealedNumber32,         10,             GetDefaultInactivityTimeout,   GetInactivityTimeout,   SetInactivityTimeout)   \
    ROW(kUSRPref_UseGateway,          "UseGateway",           Boolean,                false,          GetDefaultUseGateway,          GetUseGateway,          SetUseGateway)          \
    ROW(kUSRPref_AllowHTML5Access,    "AllowHTML5Access",     HealedNumber16,         0,              GetDefaultAllowHTML5Access,    GetAllowHtml5Access,    SetAllowHtml5Access)

// The flags of "FileTransferFlags", their defaults and their bits in the capability mask. Bit 0x2 is nobody's.
#define KC_FILE_TRANSFER_FLAGS(ROW) \
    ROW(kFTCapability_ENUM,                  "Enum",             true,  0x1)     \
    ROW(kFTCapability_FIND,                  "Find",             false, 0x4)     \
    ROW(kFTCapability_ATTRIB,                "Attributes",       false, 0x8)     \
    ROW(kFTCapability_DELETE,                "Delete",           true,  0x10)    \
    ROW(kFTCapability_RENAME,                "Rename",           true,  0x20)    \
    ROW(kFTCapability_CREATE_FOLDER,         "CreateFolder",     true,  0x40)    \
    ROW(kFTCapability_REMOTE_EXECUTE,        "Execute",          true,  0x80)    \
    ROW(kFTCapability_REMOTE_EXECUTE_STATUS, "ExecuteStatus",    true,  0x100)   \
    ROW(kFTCapability_REGISTER_CHANGES,      "RegisterChanges",  false, 0x200)   \
    ROW(kFTCapability_CANCEL_CHANGES,        "CancelChanges",    false, 0x400)   \
    ROW(kFTCapability_COPY_FILE,             "CopyFile",         true,  0x800)   \
    ROW(kFTCapability_GET_ICON,              "GetIcon",          false, 0x1000)  \
    ROW(kFTCapability_GET_FILE,              "GetFile",          true,  0x2000)  \
    ROW(kFTCapability_SEND_FILE,             "SendFile",         true,  0x4000)  \
    ROW(kFTCapability_FIND_FILE,             "FindFile",         false, 0x8000)  \
    ROW(kFTCapability_GET_FOLDER_SIZE,       "GetFolderSize",    true,  0x10000) \
    ROW(kFTCapability_GET_DRIVE_INFO,        "GetDriveInfo",     false, 0x20000) \
    ROW(kFTCapability_MULTIPLE_SESSIONS,     "MultipleSessions", false, 0x40000)
// clang-format on

inline const CFStringRef kUSRApplicationID = CFSTR("com.korvane.remote");

KC_PREFS_REMOTE(KC_PREF_CONSTANT)

#define KC_FLAG_CONSTANT(constant, key, fallback, bit) inline const CFStringRef constant = CFSTR(key);
KC_FILE_TRANSFER_FLAGS(KC_FLAG_CONSTANT)
#undef KC_FLAG_CONSTANT

// The entries of a performance level, which "PerformanceSettings" holds by its number in decimal.
inline const CFStringRef kUSRPref_BitsPerPixel = CFSTR("BitsPerPixel");
inline const CFStringRef kUSRPref_UpdatesPerSecond = CFSTR("UpdatesPerSecond");
inline const CFStringRef kUSRPref_SecondsPerKeyFrame = CFSTR("SecondsPerKeyFrame");

// The default flags, filled at the start of the process in the order of the table.
inline constexpr size_t kFileTransferFlagCount = 18;
extern const std::array<CFStringRef, kFileTransferFlagCount> kKeyArray_FileTransfer;
extern const std::array<CFBooleanRef, kFileTransferFlagCount> kValueArray_FileTransfer;

// One for the process. Getters ask the store every time; the first GetPrefs comes before other threads use
// it.
class KCPrefsRemote : public KCPrefsManager {
 public:
  // Takes over what other processes have changed since the last call.
  [[nodiscard]] static KCPrefsRemote* GetPrefs();

  KC_PREFS_REMOTE(KC_PREF_ACCESSORS)

  [[nodiscard]] static std::span<const KCPrefRow> Table();

  [[nodiscard]] bool GetFileTransferFlag(CFStringRef flag) const;
  void SetFileTransferFlag(CFStringRef flag, bool on) const;

  // Groups of flags: on when all of them are, and set together.
  [[nodiscard]] bool GetOpenAppsFiles() const;
  void SetOpenAppsFiles(bool on) const;
  [[nodiscard]] bool GetCopyItems() const;
  void SetCopyItems(bool on) const;
  [[nodiscard]] bool GetDeleteRename() const;
  void SetDeleteRename(bool on) const;

  // The entries of one level; 0, 0 and the caller's own seconds for a level that the table does not have.
  void GetPerformanceSettings(uint8_t level, unsigned long& bitsPerPixel, unsigned long& updatesPerSecond,
                              double& secondsPerKeyFrame) const;

  // What the operator is granted. 0x1: control and observe; 0x10: anything at all; 0x20: copy, or delete and
  // rename; 0x40: restart and shut down; 0x80: execute.
  [[nodiscard]] uint32_t GetAccessRightsFlags() const;
  // The same in the layout of older clients.
  [[nodiscard]] uint32_t Get9535AccessRightsFlags() const;
  [[nodiscard]] uint32_t GetFTCapabilityFlags() const;

 private:
  KCPrefsRemote() : KCPrefsManager(kUSRApplicationID) {}

  [[nodiscard]] bool AllOn(std::span<const CFStringRef> flags) const;
  void SetAll(std::span<const CFStringRef> flags, bool on) const;

  // New dictionaries with the defaults.
  static CFDictionaryRef CreateFlags();
  static CFDictionaryRef CreateLevels();

  static KCPrefsRemote* fSingleton;  // lives to the end of the process
};
