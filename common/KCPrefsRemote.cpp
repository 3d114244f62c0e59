#include "common/KCPrefsRemote.h"

#include <algorithm>
#include <iterator>

namespace {

#define KC_FLAG_KEY(constant, key, fallback, bit) constant,
#define KC_FLAG_DEFAULT(constant, key, fallback, bit) (fallback) ? kCFBooleanTrue : kCFBooleanFalse,
#define KC_FLAG_BIT(constant, key, fallback, bit) bit,

constexpr std::array<uint32_t, kFileTransferFlagCount> kCapabilityBits{KC_FILE_TRANSFER_FLAGS(KC_FLAG_BIT)};

struct Level {
  int number;
  int bitsPerPixel;
  int updatesPerSecond;
};
constexpr Level kDefaultLevels[] = {{255, 16, 0}, {6, 16, 15}, {5, 16, 10},
                                    {4, 16, 15},  {3, 16, 10}, {2, 16, 5}};

const CFStringRef kExecuteFlags[] = {kFTCapability_REMOTE_EXECUTE, kFTCapability_REMOTE_EXECUTE_STATUS};
const CFStringRef kCopyFlags[] = {kFTCapability_GET_FILE, kFTCapability_SEND_FILE, kFTCapability_COPY_FILE};
const CFStringRef kDeleteRenameFlags[] = {kFTCapability_DELETE, kFTCapability_RENAME};

// Seconds per key frame are left out on purpose: what a default level does not say stays the caller's. A
// stored table may say it.
StCFTypeRef<CFDictionaryRef> CreateLevel(const Level& level) {
  const StCFTypeRef<CFNumberRef> bits(
      CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &level.bitsPerPixel));
  const StCFTypeRef<CFNumberRef> updates(
      CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &level.updatesPerSecond));
  const void* keys[] = {kUSRPref_BitsPerPixel, kUSRPref_UpdatesPerSecond};
  const void* values[] = {bits.get(), updates.get()};
  return StCFTypeRef<CFDictionaryRef>(CFDictionaryCreate(kCFAllocatorDefault, keys, values, std::size(keys),
                                                         &kCFTypeDictionaryKeyCallBacks,
                                                         &kCFTypeDictionaryValueCallBacks));
}

// Leaves `value` alone when no number is there.
template <class Number>
void ReadNumber(CFDictionaryRef dictionary, CFStringRef key, CFNumberType type, Number& value) {
  const void* found = CFDictionaryGetValue(dictionary, key);
  if (found == nullptr || CFGetTypeID(found) != CFNumberGetTypeID()) return;
  CFNumberGetValue(static_cast<CFNumberRef>(found), type, &value);
}

// Only the low 32 bits are written.
void ReadNumber32(CFDictionaryRef dictionary, CFStringRef key, unsigned long& value) {
  auto low = static_cast<int32_t>(value);
  ReadNumber(dictionary, key, kCFNumberSInt32Type, low);
  constexpr unsigned long kLowBits = 0xFFFFFFFF;
  value = (value & ~kLowBits) | static_cast<uint32_t>(low);
}

}  // namespace

const std::array<CFStringRef, kFileTransferFlagCount> kKeyArray_FileTransfer{
    KC_FILE_TRANSFER_FLAGS(KC_FLAG_KEY)};
const std::array<CFBooleanRef, kFileTransferFlagCount> kValueArray_FileTransfer{
    KC_FILE_TRANSFER_FLAGS(KC_FLAG_DEFAULT)};

KCPrefsRemote* KCPrefsRemote::fSingleton = nullptr;

KCPrefsRemote* KCPrefsRemote::GetPrefs() {
  if (fSingleton == nullptr) fSingleton = new KCPrefsRemote;
  SynchronizePreferences();
  return fSingleton;
}

std::span<const KCPrefRow> KCPrefsRemote::Table() {
  static const KCPrefRow rows[] = {KC_PREFS_REMOTE(KC_PREF_ROW)};
  return rows;
}

CFDictionaryRef KCPrefsRemote::CreateFlags() {
  const void* keys[kFileTransferFlagCount];
  const void* values[kFileTransferFlagCount];
  std::copy(kKeyArray_FileTransfer.begin(), kKeyArray_FileTransfer.end(), keys);
  std::copy(kValueArray_FileTransfer.begin(), kValueArray_FileTransfer.end(), values);
  return CFDictionaryCreate(kCFAllocatorDefault, keys, values, kFileTransferFlagCount,
                            &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

CFDictionaryRef KCPrefsRemote::CreateLevels() {
  const CFMutableDictionaryRef levels = CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  for (const Level& level : kDefaultLevels) {
    const StCFTypeRef<CFStringRef> key(
        CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%d"), level.number));
    CFDictionarySetValue(levels, key, CreateLevel(level));
  }
  return levels;
}

bool KCPrefsRemote::GetFileTransferFlag(CFStringRef flag) const { return AllOn({&flag, 1}); }

void KCPrefsRemote::SetFileTransferFlag(CFStringRef flag, bool on) const { SetAll({&flag, 1}, on); }

bool KCPrefsRemote::AllOn(std::span<const CFStringRef> flags) const {
  const StCFTypeRef<CFDictionaryRef> stored(GetFileTransferFlags());
  return std::all_of(flags.begin(), flags.end(),
                     [&stored](CFStringRef flag) { return kcprefs::IsOn(stored, flag); });
}

void KCPrefsRemote::SetAll(std::span<const CFStringRef> flags, bool on) const {
  StCFTypeRef<CFDictionaryRef> changed(GetFileTransferFlags());
  for (const CFStringRef flag : flags)
    changed = StCFTypeRef<CFDictionaryRef>(kcprefs::CreateWithFlag(changed, flag, on));
  SetFileTransferFlags(changed);
}

bool KCPrefsRemote::GetOpenAppsFiles() const { return AllOn(kExecuteFlags); }
void KCPrefsRemote::SetOpenAppsFiles(bool on) const { SetAll(kExecuteFlags, on); }
bool KCPrefsRemote::GetCopyItems() const { return AllOn(kCopyFlags); }
void KCPrefsRemote::SetCopyItems(bool on) const { SetAll(kCopyFlags, on); }
bool KCPrefsRemote::GetDeleteRename() const { return AllOn(kDeleteRenameFlags); }
void KCPrefsRemote::SetDeleteRename(bool on) const { SetAll(kDeleteRenameFlags, on); }

void KCPrefsRemote::GetPerformanceSettings(uint8_t level, unsigned long& bitsPerPixel,
                                           unsigned long& updatesPerSecond,
                                           double& secondsPerKeyFrame) const {
  bitsPerPixel = 0;
  updatesPerSecond = 0;
  const StCFTypeRef<CFDictionaryRef> levels(GetPerformanceSettings());
  const StCFTypeRef<CFStringRef> key(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%hhu"), level));
  const void* found = CFDictionaryGetValue(levels, key);
  if (found == nullptr || CFGetTypeID(found) != CFDictionaryGetTypeID()) return;
  const auto* const entries = static_cast<CFDictionaryRef>(found);
  ReadNumber32(entries, kUSRPref_BitsPerPixel, bitsPerPixel);
  ReadNumber32(entries, kUSRPref_UpdatesPerSecond, updatesPerSecond);
  ReadNumber(entries, kUSRPref_SecondsPerKeyFrame, kCFNumberDoubleType, secondsPerKeyFrame);
}

uint32_t KCPrefsRemote::GetAccessRightsFlags() const {
  uint32_t rights = GetOpenAppsFiles() ? 0x90 : 0;
  if (GetCopyItems() || GetDeleteRename()) rights |= 0x30;
  if (GetControlObserve()) rights |= 0x11;
  if (GetRestartShutdown()) rights |= 0x50;
  if (isStandALone()) rights |= 0x1;
  return rights;
}

uint32_t KCPrefsRemote::Get9535AccessRightsFlags() const {
  const uint32_t rights = GetAccessRightsFlags();
  return ((rights >> 3) & 0xE) + ((rights & 0x1) != 0 ? 0x41 : 0) + ((rights & 0x80) != 0 ? 0x10 : 0);
}

// A flag that the stored dictionary lacks is off, whatever its default.
uint32_t KCPrefsRemote::GetFTCapabilityFlags() const {
  const StCFTypeRef<CFDictionaryRef> flags(GetFileTransferFlags());
  uint32_t capabilities = 0;
  for (size_t i = 0; i < kFileTransferFlagCount; ++i)
    if (kcprefs::IsOn(flags, kKeyArray_FileTransfer[i])) capabilities |= kCapabilityBits[i];
  return capabilities;
}
