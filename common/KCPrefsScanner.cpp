#include "common/KCPrefsScanner.h"

#include <utility>

namespace {

CFDictionaryRef CreateFlags(std::span<const std::pair<CFStringRef, bool>> flags) {
  const CFMutableDictionaryRef made = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  for (const auto& [flag, on] : flags)
    CFDictionarySetValue(made, flag, on ? kCFBooleanTrue : kCFBooleanFalse);
  return made;
}

bool AnyOn(CFDictionaryRef flags) {
  bool any = false;
  const auto look = [](const void*, const void* value, void* found) {
    if (value == kCFBooleanTrue) *static_cast<bool*>(found) = true;
  };
  CFDictionaryApplyFunction(flags, look, &any);
  return any;
}

}  // namespace

KCPrefsScanner* KCPrefsScanner::fSingleton = nullptr;

KCPrefsScanner* KCPrefsScanner::GetPrefs() {
  if (fSingleton == nullptr) fSingleton = new KCPrefsScanner;
  SynchronizePreferences();
  return fSingleton;
}

std::span<const KCPrefRow> KCPrefsScanner::Table() {
  static const KCPrefRow rows[] = {KC_PREFS_SCANNER(KC_PREF_ROW)};
  return rows;
}

CFDictionaryRef KCPrefsScanner::CreateSoftwareFlags() {
  const std::pair<CFStringRef, bool> flags[] = {{CFSTR("Applications"), true},
                                                {CFSTR("Drivers and Plug-ins"), true},
                                                {CFSTR("Fonts"), true},
                                                {CFSTR("Multimedia Files"), false},
                                                {CFSTR("Scan Extensions"), false}};
  return CreateFlags(flags);
}

CFDictionaryRef KCPrefsScanner::CreateHardwareFlags() {
  const std::pair<CFStringRef, bool> flags[] = {
      {CFSTR("CPUs"), true},     {CFSTR("Monitors"), true},  {CFSTR("PCI"), true},
      {CFSTR("FireWire"), true}, {CFSTR("Bluetooth"), true}, {CFSTR("USB"), true},
      {CFSTR("Volumes"), true},  {CFSTR("System"), true},    {CFSTR("Network"), true},
      {CFSTR("Keyboard"), true}, {CFSTR("Battery"), true}};
  return CreateFlags(flags);
}

bool KCPrefsScanner::GetSoftwareFlag(CFStringRef flag) const {
  return kcprefs::IsOn(StCFTypeRef<CFDictionaryRef>(GetSoftwareFlags()), flag);
}

void KCPrefsScanner::SetSoftwareFlag(CFStringRef flag, bool on) const {
  const StCFTypeRef<CFDictionaryRef> flags(GetSoftwareFlags());
  SetSoftwareFlags(StCFTypeRef<CFDictionaryRef>(kcprefs::CreateWithFlag(flags, flag, on)));
}

bool KCPrefsScanner::GetHardwareFlag(CFStringRef flag) const {
  return kcprefs::IsOn(StCFTypeRef<CFDictionaryRef>(GetHardwareFlags()), flag);
}

void KCPrefsScanner::SetHardwareFlag(CFStringRef flag, bool on) const {
  const StCFTypeRef<CFDictionaryRef> flags(GetHardwareFlags());
  SetHardwareFlags(StCFTypeRef<CFDictionaryRef>(kcprefs::CreateWithFlag(flags, flag, on)));
}

bool KCPrefsScanner::HasSoftwareFlags() const {
  return AnyOn(StCFTypeRef<CFDictionaryRef>(GetSoftwareFlags()));
}

bool KCPrefsScanner::HasHardwareFlags() const {
  return AnyOn(StCFTypeRef<CFDictionaryRef>(GetHardwareFlags()));
}
