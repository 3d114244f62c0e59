#include "common/KCPrefsManager.h"

#include <asl.h>

#include "common/KCDebugging.h"
#include "common/KCVersionUtils.h"
#include "common/KCasl.h"

CFStringRef kKVMSApplicationID = CFSTR("com.korvane.kvms");
CFStringRef kKVMSUUIDID = CFSTR("com.korvane.uuid");
CFStringRef kZVTApplicationID = CFSTR("com.korvane.scanner");
CFStringRef kTarvexApplicationID = CFSTR("com.korvane.patch");

namespace {

// Every access is for any user on the current host.
StCFTypeRef<CFTypeRef> CopyFromDomain(CFStringRef domain, CFStringRef key) {
  return StCFTypeRef<CFTypeRef>(
      CFPreferencesCopyValue(key, domain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost));
}

void SetInDomain(CFStringRef domain, CFStringRef key, CFTypeRef value) {
  CFPreferencesSetValue(key, value, domain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
}

bool SynchronizeDomain(CFStringRef domain) {
  return CFPreferencesSynchronize(domain, kCFPreferencesAnyUser, kCFPreferencesCurrentHost) != 0;
}

// Null, and what was found released, when it is of another type.
template <class Ref>
StCFTypeRef<Ref> OnlyOfType(StCFTypeRef<CFTypeRef> value, CFTypeID type) {
  if (value == nullptr || CFGetTypeID(value) != type) return {};
  return StCFTypeRef<Ref>(static_cast<Ref>(value.Release()));
}

StCFTypeRef<CFStringRef> CopyStringFromDomain(CFStringRef domain, CFStringRef key) {
  return OnlyOfType<CFStringRef>(CopyFromDomain(domain, key), CFStringGetTypeID());
}

template <class Ref>
StCFTypeRef<Ref> CopyTyped(const KCPrefsManager& manager, CFStringRef key, CFTypeID type) {
  return OnlyOfType<Ref>(StCFTypeRef<CFTypeRef>(manager.GetPreference(key)), type);
}

StCFTypeRef<CFStringRef> CopyNonEmptyString(const KCPrefsManager& manager, CFStringRef key) {
  auto text = CopyTyped<CFStringRef>(manager, key, CFStringGetTypeID());
  if (text != nullptr && CFStringGetLength(text) == 0) return {};
  return text;
}

template <class Number>
Number GetNumber(const KCPrefsManager& manager, CFStringRef key, CFNumberType type, Number fallback) {
  const auto stored = CopyTyped<CFNumberRef>(manager, key, CFNumberGetTypeID());
  Number value = fallback;
  if (stored != nullptr) CFNumberGetValue(stored, type, &value);
  return value;
}

template <class Number>
void SaveNumber(const KCPrefsManager& manager, CFStringRef key, CFNumberType type, Number value) {
  manager.SavePreference(key, StCFTypeRef<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, type, &value)));
}

// "{" + identifier + "}"; as it is when it has both braces already.
StCFTypeRef<CFStringRef> InBraces(CFStringRef identifier) {
  const CFStringRef open = CFSTR("{");
  const CFStringRef close = CFSTR("}");
  if (CFStringHasPrefix(identifier, open) && CFStringHasSuffix(identifier, close))
    return StCFTypeRef<CFStringRef>(CFStringCreateCopy(kCFAllocatorDefault, identifier));
  const StCFTypeRef<CFMutableStringRef> bare(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, identifier));
  CFStringTrim(bare, open);
  CFStringTrim(bare, close);
  return StCFTypeRef<CFStringRef>(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("{%@}"), bare.get()));
}

CFIndex Replace(CFMutableStringRef text, CFStringRef word, CFStringRef replacement) {
  return CFStringFindAndReplace(text, word, replacement, CFRangeMake(0, CFStringGetLength(text)),
                                kCFCompareCaseInsensitive);
}

// `identifier` becomes its copy for good, which therefore nobody releases.
void PutInPlace(CFStringRef& identifier, StCFTypeRef<CFMutableStringRef> copy) {
  identifier = copy.Release();
}

}  // namespace

KCPrefsManager::KCPrefsManager(CFStringRef applicationID)
    : applicationID_(static_cast<CFStringRef>(CFRetain(applicationID))) {}

KCPrefsManager::~KCPrefsManager() { CFRelease(applicationID_); }

StCFTypeRef<CFDictionaryRef> KCPrefsManager::CopyComponent() const {
  return OnlyOfType<CFDictionaryRef>(CopyFromDomain(kKVMSApplicationID, applicationID_),
                                     CFDictionaryGetTypeID());
}

CFTypeRef KCPrefsManager::GetPreference(CFStringRef key) const {
  const auto component = CopyComponent();
  if (component == nullptr) return nullptr;
  const CFTypeRef value = CFDictionaryGetValue(component, key);
  return value == nullptr ? nullptr : CFRetain(value);
}

bool KCPrefsManager::GetBooleanPreference(CFStringRef key, bool fallback) const {
  const auto stored = CopyTyped<CFBooleanRef>(*this, key, CFBooleanGetTypeID());
  return stored == nullptr ? fallback : CFBooleanGetValue(stored) != 0;
}

long long KCPrefsManager::GetNumberPreference(CFStringRef key, long long fallback) const {
  return GetNumber(*this, key, kCFNumberLongLongType, fallback);
}

int KCPrefsManager::GetNumberPreference(CFStringRef key, int fallback) const {
  return GetNumber(*this, key, kCFNumberIntType, fallback);
}

short KCPrefsManager::GetNumberPreference(CFStringRef key, short fallback) const {
  return GetNumber(*this, key, kCFNumberShortType, fallback);
}

CFStringRef KCPrefsManager::GetStringPreference(CFStringRef key, CFStringRef fallback) const {
  auto stored = CopyNonEmptyString(*this, key);
  return stored == nullptr ? fallback : stored.Release();
}

CFDateRef KCPrefsManager::GetDatePreference(CFStringRef key, CFDateRef fallback) const {
  auto stored = CopyTyped<CFDateRef>(*this, key, CFDateGetTypeID());
  return stored == nullptr ? fallback : stored.Release();
}

CFDictionaryRef KCPrefsManager::GetDictionaryPreference(CFStringRef key, CFDictionaryRef fallback) const {
  auto stored = CopyTyped<CFDictionaryRef>(*this, key, CFDictionaryGetTypeID());
  return stored == nullptr ? fallback : stored.Release();
}

CFURLRef KCPrefsManager::GetURLPreference(CFStringRef key, CFStringRef fallbackPath, bool isDirectory) const {
  const auto stored = CopyNonEmptyString(*this, key);
  if (stored != nullptr) {
    if (const CFURLRef url = CFURLCreateWithString(kCFAllocatorDefault, stored, nullptr)) return url;
  }
  const CFStringRef path = stored != nullptr ? stored.get() : fallbackPath;
  if (path == nullptr || CFStringGetLength(path) == 0) return nullptr;
  return CFURLCreateWithFileSystemPath(kCFAllocatorDefault, path, kCFURLPOSIXPathStyle, isDirectory);
}

Handle KCPrefsManager::GetHandlePreference(CFStringRef key, Handle fallback) const {
  const auto stored = CopyTyped<CFDataRef>(*this, key, CFDataGetTypeID());
  if (stored != nullptr) {
    Handle handle = nullptr;
    const OSErr error = PtrToHand(CFDataGetBytePtr(stored), &handle, CFDataGetLength(stored));
    KCSignalIf(error != noErr, "KCPrefsManager::GetHandlePreference(): PtrToHand err=%d.", error);
    return error == noErr ? handle : fallback;
  }
  // Alone among the getters of this class it saves its default, on purpose.
  if (fallback != nullptr) SaveHandlePreference(key, fallback);
  return fallback;
}

void KCPrefsManager::SavePreference(CFStringRef key, CFTypeRef value) const {
  const auto stored = CopyComponent();
  const StCFTypeRef<CFMutableDictionaryRef> changed(
      stored != nullptr ? CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, stored)
                        : CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                    &kCFTypeDictionaryValueCallBacks));
  if (value != nullptr) {
    CFDictionarySetValue(changed, key, value);
  } else {
    CFDictionaryRemoveValue(changed, key);
  }
  SaveKVMSPreference(applicationID_, changed);
}

void KCPrefsManager::SaveBooleanPreference(CFStringRef key, bool value) const {
  SavePreference(key, value ? kCFBooleanTrue : kCFBooleanFalse);
}

void KCPrefsManager::SaveNumberPreference(CFStringRef key, long long value) const {
  SaveNumber(*this, key, kCFNumberLongLongType, value);
}

void KCPrefsManager::SaveNumberPreference(CFStringRef key, int value) const {
  SaveNumber(*this, key, kCFNumberIntType, value);
}

void KCPrefsManager::SaveNumberPreference(CFStringRef key, short value) const {
  SaveNumber(*this, key, kCFNumberShortType, value);
}

void KCPrefsManager::SaveStringPreference(CFStringRef key, CFStringRef value) const {
  SavePreference(key, value);
}

void KCPrefsManager::SaveDatePreference(CFStringRef key, CFDateRef value) const {
  SavePreference(key, value);
}

void KCPrefsManager::SaveDictionaryPreference(CFStringRef key, CFDictionaryRef value) const {
  SavePreference(key, value);
}

void KCPrefsManager::SaveUUIDPreference(CFStringRef key, CFUUIDRef value) const {
  const StCFTypeRef<CFStringRef> text(value == nullptr ? nullptr
                                                       : CFUUIDCreateString(kCFAllocatorDefault, value));
  SavePreference(key, text);
}

void KCPrefsManager::SaveURLPreference(CFStringRef key, CFURLRef value) const {
  SavePreference(key, value == nullptr ? nullptr : CFURLGetString(value));
}

void KCPrefsManager::SaveHandlePreference(CFStringRef key, Handle value) const {
  if (value == nullptr) return SavePreference(key, nullptr);
  HLock(value);
  const StCFTypeRef<CFDataRef> bytes(
      CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(*value), GetHandleSize(value)));
  HUnlock(value);
  SavePreference(key, bytes);
}

CFStringRef KCPrefsManager::GetServerIPAddress() {
  auto stored = CopyStringFromDomain(kKVMSApplicationID, kZVTPref_ServerIPAddress);
  if (stored != nullptr) return stored.Release();
  ASLLogger(ASL_LEVEL_INFO, 1, true, "Didn't find the server IP Address. Returning default…");
  return GetDefaultServerIPAddress();
}

void KCPrefsManager::SetServerIPAddress(CFStringRef address) {
  SaveKVMSPreference(kZVTPref_ServerIPAddress, address);
}

CFStringRef KCPrefsManager::GetTenantUniqueId() {
  return CopyStringFromDomain(kKVMSApplicationID, kZVTPref_TenantUniqueId).Release();
}

CFTypeRef KCPrefsManager::GetLocation() { return GetKVMSPreference(kZVTPref_Location); }

void KCPrefsManager::SetLocation(CFTypeRef location) { SaveKVMSPreference(kZVTPref_Location, location); }

CFTypeRef KCPrefsManager::GetKVMSPreference(CFStringRef key) {
  return CopyFromDomain(kKVMSApplicationID, key).Release();
}

void KCPrefsManager::SaveKVMSPreference(CFStringRef key, CFTypeRef value) {
  SetInDomain(kKVMSApplicationID, key, value);
  SynchronizePreferences();
}

CFStringRef KCPrefsManager::GetHardwareUUIDAsString() {
  const auto stored = CopyStringFromDomain(kKVMSUUIDID, kZVTPref_HardwareUUID);
  if (stored != nullptr) return CFStringCreateCopy(kCFAllocatorDefault, stored);
  ResetHardwareUUID();
  return CopyStringFromDomain(kKVMSUUIDID, kZVTPref_HardwareUUID).Release();
}

void KCPrefsManager::ResetHardwareUUID() {
  const void* steps[] = {CFSTR("platform_UUID")};
  const StCFTypeRef<CFArrayRef> path(
      CFArrayCreate(kCFAllocatorDefault, steps, std::size(steps), &kCFTypeArrayCallBacks));
  const auto answer = OnlyOfType<CFStringRef>(
      StCFTypeRef<CFTypeRef>(KCGetSystemProfilerInfo(CFSTR("SPHardwareDataType"), path)),
      CFStringGetTypeID());
  if (answer == nullptr) return;
  SetInDomain(kKVMSUUIDID, kZVTPref_HardwareUUID,
              StCFTypeRef<CFStringRef>(CFStringCreateCopy(kCFAllocatorDefault, answer)));
  KCSignalIf(!SynchronizeDomain(kKVMSUUIDID),
             "KCPrefsManager::ResetHardwareUUID(): CFPreferencesSynchronize failed.");
}

CFStringRef KCPrefsManager::GetScannerUUIDAsString() {
  const auto source = CopyFromDomain(kKVMSUUIDID, kZVTPref_ScannerUUIDSource);
  auto stored = CopyStringFromDomain(kKVMSUUIDID, kZVTPref_ScannerUUID);
  if (source != nullptr && CFEqual(source, kZVTPref_ScannerUUIDSourceIsHardware)) return stored.Release();

  if (stored != nullptr) SetInDomain(kKVMSUUIDID, kZVTPref_OldScannerUUID, InBraces(stored));
  KCSignalIf(!SynchronizeDomain(kKVMSUUIDID),
             "KCPrefsManager::GetScannerUUIDAsString(): CFPreferencesSynchronize failed.");
  ResetScannerUUID();
  return CopyStringFromDomain(kKVMSUUIDID, kZVTPref_ScannerUUID).Release();
}

void KCPrefsManager::ResetScannerUUID() {
  const StCFTypeRef<CFStringRef> hardware(GetHardwareUUIDAsString());
  if (hardware == nullptr) return;
  SetInDomain(kKVMSUUIDID, kZVTPref_ScannerUUID, hardware);
  SetInDomain(kKVMSUUIDID, kZVTPref_ScannerUUIDSource, kZVTPref_ScannerUUIDSourceIsHardware);
  KCSignalIf(!SynchronizeDomain(kKVMSUUIDID),
             "KCPrefsManager::ResetScannerUUID(): CFPreferencesSynchronize failed.");
}

CFStringRef KCPrefsManager::GetOldScannerUUIDAsString() {
  return CopyStringFromDomain(kKVMSUUIDID, kZVTPref_OldScannerUUID).Release();
}

bool KCPrefsManager::SynchronizePreferences() {
  const bool done = SynchronizeDomain(kKVMSApplicationID);
  KCSignalIf(!done, "KCPrefsManager::SynchronizePreferences(): CFPreferencesAppSynchronize failed.");
  return done;
}

bool KCPrefsManager::ConfigureSDKPrefs() {
  const CFStringRef maker = CFSTR("Korvane");
  const StCFTypeRef<CFMutableStringRef> product(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, kSDKName));
  CFStringLowercase(product, nullptr);

  const auto copyOf = [](CFStringRef identifier) {
    return StCFTypeRef<CFMutableStringRef>(CFStringCreateMutableCopy(kCFAllocatorDefault, 0, identifier));
  };
  // The store's own domain must lose both words; one alone leaves it as it was.
  auto store = copyOf(kKVMSApplicationID);
  if (Replace(store, maker, product) > 0 && Replace(store, CFSTR("kvms"), CFSTR("qrms")) > 0)
    PutInPlace(kKVMSApplicationID, std::move(store));
  for (CFStringRef* const identifier : {&kTarvexApplicationID, &kZVTApplicationID, &kKVMSUUIDID}) {
    auto copy = copyOf(*identifier);
    if (Replace(copy, maker, product) > 0) PutInPlace(*identifier, std::move(copy));
  }

  ASLLogger(ASL_LEVEL_DEBUG, 1, true, "KCPrefsManager::ConfigureSDKPrefs()");
  ASLLogger(ASL_LEVEL_DEBUG, 1, true, "kKVMSApplicationID = %@", kKVMSApplicationID);
  ASLLogger(ASL_LEVEL_DEBUG, 1, true, "kTarvexApplicationID = %@", kTarvexApplicationID);
  ASLLogger(ASL_LEVEL_DEBUG, 1, true, "kZVTApplicationID = %@", kZVTApplicationID);
  ASLLogger(ASL_LEVEL_DEBUG, 1, true, "kKVMSUUIDID = %@", kKVMSUUIDID);
  return true;
}
