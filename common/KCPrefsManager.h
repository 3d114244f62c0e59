// The one road to the agent's settings: all of them live in one machine-wide preferences domain, where each
// component owns a dictionary under its identifier.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include "common/StCFTypeRef.h"

// ConfigureSDKPrefs may replace these four, once and before anything else uses them.
extern CFStringRef kKVMSApplicationID;    // the domain of all components and of the machine-wide values
extern CFStringRef kKVMSUUIDID;           // the domain of the machine's identifiers
extern CFStringRef kZVTApplicationID;     // the scanner
extern CFStringRef kTarvexApplicationID;  // the patch product

inline const CFStringRef kSDKName = CFSTR("QRMacPatch");
inline const CFStringRef kZVTDefaultServerAddress = CFSTR("10.0.0.1");

// Values that lie in a domain itself, in no component's dictionary.
inline const CFStringRef kZVTPref_ServerIPAddress = CFSTR("ServerIPAddress");
inline const CFStringRef kZVTPref_TenantUniqueId = CFSTR("TenantUID");
inline const CFStringRef kZVTPref_Location = CFSTR("Computer - Computer Location");
inline const CFStringRef kZVTPref_HardwareUUID = CFSTR("HardwareUUID");
inline const CFStringRef kZVTPref_ScannerUUID = CFSTR("ScannerUUID");
inline const CFStringRef kZVTPref_ScannerUUIDSource = CFSTR("ScannerUUIDSource");
inline const CFStringRef kZVTPref_ScannerUUIDSourceIsHardware = CFSTR("HardwareUUID");
inline const CFStringRef kZVTPref_OldScannerUUID = CFSTR("OldScannerUUID");  // in braces

// The settings of one component. It caches nothing: every call asks the platform's preferences.
//
// Ownership, lopsided on purpose: a getter that finds a stored object returns a reference that the caller
// releases, but a default comes back exactly as it was passed, without a reference of its own. What is
// missing, or of another type than the getter's, gives the default; a boolean that is stored as a number is
// of another type. Any thread; nothing throws, and a save that fails is logged.
class KCPrefsManager {
 public:
  // Retains the identifier.
  explicit KCPrefsManager(CFStringRef applicationID);
  ~KCPrefsManager();
  KCPrefsManager(const KCPrefsManager&) = delete;
  KCPrefsManager& operator=(const KCPrefsManager&) = delete;

  // Whatever is stored, or null. The caller releases.
  [[nodiscard]] CFTypeRef GetPreference(CFStringRef key) const;
  [[nodiscard]] bool GetBooleanPreference(CFStringRef key, bool fallback) const;
  // What does not fit into the width is cut as the platform's number conversion cuts it.
  [[nodiscard]] long long GetNumberPreference(CFStringRef key, long long fallback) const;
  [[nodiscard]] int GetNumberPreference(CFStringRef key, int fallback) const;
  [[nodiscard]] short GetNumberPreference(CFStringRef key, short fallback) const;
  // An empty string counts as missing.
  [[nodiscard]] CFStringRef GetStringPreference(CFStringRef key, CFStringRef fallback) const;
  [[nodiscard]] CFDateRef GetDatePreference(CFStringRef key, CFDateRef fallback) const;
  [[nodiscard]] CFDictionaryRef GetDictionaryPreference(CFStringRef key, CFDictionaryRef fallback) const;
  // The stored text as a URL, else as a path; without one, the default path's URL, null for an empty or null
  // path. The caller releases.
  [[nodiscard]] CFURLRef GetURLPreference(CFStringRef key, CFStringRef fallbackPath, bool isDirectory) const;
  // A new handle with the stored bytes. A default that is not null is saved as well.
  [[nodiscard]] Handle GetHandlePreference(CFStringRef key, Handle fallback) const;

  // Each writes the component's whole dictionary and synchronises at once. Of two processes that save keys of
  // one component at the same moment, the later one therefore wins with all of its keys; different components
  // do not touch each other. Null removes the key.
  void SavePreference(CFStringRef key, CFTypeRef value) const;
  void SaveBooleanPreference(CFStringRef key, bool value) const;
  void SaveNumberPreference(CFStringRef key, long long value) const;
  void SaveNumberPreference(CFStringRef key, int value) const;
  void SaveNumberPreference(CFStringRef key, short value) const;
  void SaveStringPreference(CFStringRef key, CFStringRef value) const;
  void SaveDatePreference(CFStringRef key, CFDateRef value) const;
  void SaveDictionaryPreference(CFStringRef key, CFDictionaryRef value) const;
  void SaveUUIDPreference(CFStringRef key, CFUUIDRef value) const;
  void SaveURLPreference(CFStringRef key, CFURLRef value) const;
  void SaveHandlePreference(CFStringRef key, Handle value) const;

  // ---- values of the whole machine; what these return is the caller's to release, unless it is a default

  [[nodiscard]] static CFStringRef GetDefaultServerIPAddress() { return kZVTDefaultServerAddress; }
  // The default, and a line in the log, when no string is stored.
  [[nodiscard]] static CFStringRef GetServerIPAddress();
  static void SetServerIPAddress(CFStringRef address);
  [[nodiscard]] static CFStringRef GetTenantUniqueId();
  // Of any type.
  [[nodiscard]] static CFTypeRef GetLocation();
  static void SetLocation(CFTypeRef location);
  [[nodiscard]] static CFTypeRef GetKVMSPreference(CFStringRef key);
  static void SaveKVMSPreference(CFStringRef key, CFTypeRef value);

  // ---- the machine's identifiers

  // Asks the system for it when none is stored; null when the system does not say.
  [[nodiscard]] static CFStringRef GetHardwareUUIDAsString();
  static void ResetHardwareUUID();
  // The hardware's. One of another source moves to the old identifier, in braces, and is replaced, once.
  [[nodiscard]] static CFStringRef GetScannerUUIDAsString();
  static void ResetScannerUUID();
  [[nodiscard]] static CFStringRef GetOldScannerUUIDAsString();

  // Writes what was set and takes over what other processes have written. False, and logged, when that fails.
  static bool SynchronizePreferences();

  // Renames the domains for the build that the patch product ships. Comes first and alone, at the start;
  // true.
  static bool ConfigureSDKPrefs();

 private:
  [[nodiscard]] StCFTypeRef<CFDictionaryRef> CopyComponent() const;

  const CFStringRef applicationID_;  // owned
};
