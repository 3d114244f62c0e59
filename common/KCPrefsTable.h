// Tables of settings: one row a setting, from which its constant, its default, its getter and setter and its
// entry in lists all follow.
//
// A table is a macro that calls its argument once for each row:
//
//   ROW(constant, key, kind, default, GetDefault..., getter, setter)
//
// The kind says how the setting is stored and how its getter behaves. What a getter or a GetDefault...
// returns belongs to whom KCPrefsManager says, but kinds of dictionaries always give one that the caller
// releases.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include "common/KCFolderManager.h"
#include "common/KCPrefsManager.h"

// How a value lies in the store.
enum class KCPrefType {
  kBoolean,
  kNumber16,
  kNumber32,
  kReal,
  kString,
  kURL,
  kDate,
  kData,
  kFlags,       // a dictionary of booleans
  kLevels,      // a dictionary of dictionaries of numbers
  kDictionary,  // of anything
  kAny
};

// A row for those who walk the table.
struct KCPrefRow {
  CFStringRef key;
  KCPrefType type;
  // The getter replaces a negative number by the default.
  bool negativeIsReplaced;
  // The default as it would be stored, the caller's to release; null when there is none.
  CFTypeRef (*createDefault)();
};

namespace kcprefs {

inline CFTypeRef RetainedOrNull(CFTypeRef value) { return value == nullptr ? nullptr : CFRetain(value); }

struct Boolean {
  using Value = bool;
  using Default = bool;
  static constexpr KCPrefType kType = KCPrefType::kBoolean;
  static constexpr bool kNegativeIsReplaced = false;
  static Value Get(const KCPrefsManager& manager, CFStringRef key, Default (*fallback)()) {
    return manager.GetBooleanPreference(key, fallback());
  }
  static void Save(const KCPrefsManager& manager, CFStringRef key, Value value) {
    manager.SaveBooleanPreference(key, value);
  }
  static CFTypeRef CreateStored(Default value) { return CFRetain(value ? kCFBooleanTrue : kCFBooleanFalse); }
};

template <class Integer, KCPrefType type, CFNumberType numberType>
struct Number {
  using Value = Integer;
  using Default = Integer;
  static constexpr KCPrefType kType = type;
  static constexpr bool kNegativeIsReplaced = false;
  static Value Get(const KCPrefsManager& manager, CFStringRef key, Default (*fallback)()) {
    return manager.GetNumberPreference(key, fallback());
  }
  static void Save(const KCPrefsManager& manager, CFStringRef key, Value value) {
    manager.SaveNumberPreference(key, value);
  }
  static CFTypeRef CreateStored(Default value) {
    return CFNumberCreate(kCFAllocatorDefault, numberType, &value);
  }
};
using Number16 = Number<short, KCPrefType::kNumber16, kCFNumberShortType>;
using Number32 = Number<int, KCPrefType::kNumber32, kCFNumberIntType>;

// Heals the store: where no number lies, or a negative one, the getter saves the default.
template <class Plain>
struct Healed : Plain {
  using typename Plain::Default;
  using typename Plain::Value;
  static constexpr bool kNegativeIsReplaced = true;
  static Value Get(const KCPrefsManager& manager, CFStringRef key, Default (*fallback)()) {
    const Value stored = manager.GetNumberPreference(key, Value{-1});
    if (stored >= 0) return stored;
    Plain::Save(manager, key, fallback());
    return fallback();
  }
};

using HealedNumber16 = Healed<Number16>;
using HealedNumber32 = Healed<Number32>;

// A stand-alone process does not look: for it the number is 0.
struct HealedUnlessStandAlone : HealedNumber16 {
  static Value Get(const KCPrefsManager& manager, CFStringRef key, Default (*fallback)()) {
    return isStandALone() ? Value{0} : HealedNumber16::Get(manager, key, fallback);
  }
};

struct String {
  using Value = CFStringRef;
  using Default = CFStringRef;
  static constexpr KCPrefType kType = KCPrefType::kString;
  static constexpr bool kNegativeIsReplaced = false;
  static Value Get(const KCPrefsManager& manager, CFStringRef key, Default (*fallback)()) {
    return manager.GetStringPreference(key, fallback());
  }
  static void Save(const KCPrefsManager& manager, CFStringRef key, Value value) {
    manager.SaveStringPreference(key, value);
  }
  static CFTypeRef CreateStored(Default value) { return RetainedOrNull(value); }
};

// The default is the folder's path.
struct DirectoryURL {
  using Value = CFURLRef;
  using Default = CFStringRef;
  static constexpr KCPrefType kType = KCPrefType::kURL;
  static constexpr bool kNegativeIsReplaced = false;
  static Value Get(const KCPrefsManager& manager, CFStringRef key, Default (*fallback)()) {
    return manager.GetURLPreference(key, fallback(), true);
  }
  static void Save(const KCPrefsManager& manager, CFStringRef key, Value value) {
    manager.SaveURLPreference(key, value);
  }
  static CFTypeRef CreateStored(Default path) {
    if (path == nullptr) return nullptr;
    const StCFTypeRef<CFURLRef> url(
        CFURLCreateWithFileSystemPath(kCFAllocatorDefault, path, kCFURLPOSIXPathStyle, true));
    return url == nullptr ? nullptr : CFRetain(CFURLGetString(url));
  }
};

struct Date {
  using Value = CFDateRef;
  using Default = CFDateRef;
  static constexpr KCPrefType kType = KCPrefType::kDate;
  static constexpr bool kNegativeIsReplaced = false;
  static Value Get(const KCPrefsManager& manager, CFStringRef key, Default (*fallback)()) {
    return manager.GetDatePreference(key, fallback());
  }
  static void Save(const KCPrefsManager& manager, CFStringRef key, Value value) {
    manager.SaveDatePreference(key, value);
  }
  static CFTypeRef CreateStored(Default value) { return RetainedOrNull(value); }
};

// The bytes of a handle; there is no default but the null handle.
struct Bytes {
  using Value = Handle;
  using Default = Handle;
  static constexpr KCPrefType kType = KCPrefType::kData;
  static constexpr bool kNegativeIsReplaced = false;
  static Value Get(const KCPrefsManager& manager, CFStringRef key, Default (*fallback)()) {
    return manager.GetHandlePreference(key, fallback());
  }
  static void Save(const KCPrefsManager& manager, CFStringRef key, Value value) {
    manager.SaveHandlePreference(key, value);
  }
  static CFTypeRef CreateStored(Default) { return nullptr; }
};

// Heals the store: where no dictionary lies, the getter saves the default.
template <KCPrefType type>
struct Dictionary {
  using Value = CFDictionaryRef;
  using Default = CFDictionaryRef;
  static constexpr KCPrefType kType = type;
  static constexpr bool kNegativeIsReplaced = false;
  static Value Get(const KCPrefsManager& manager, CFStringRef key, Default (*fallback)()) {
    if (const Value stored = manager.GetDictionaryPreference(key, nullptr)) return stored;
    const Value made = fallback();
    Save(manager, key, made);
    return made;
  }
  static void Save(const KCPrefsManager& manager, CFStringRef key, Value value) {
    manager.SaveDictionaryPreference(key, value);
  }
  static CFTypeRef CreateStored(Default value) { return value; }
};
using Flags = Dictionary<KCPrefType::kFlags>;
using Levels = Dictionary<KCPrefType::kLevels>;

// The flag is there, a boolean and true.
[[nodiscard]] bool IsOn(CFDictionaryRef flags, CFStringRef flag);
// The whole dictionary with one flag set; the caller releases.
[[nodiscard]] CFDictionaryRef CreateWithFlag(CFDictionaryRef flags, CFStringRef flag, bool on);

}  // namespace kcprefs

// What a table is walked with: its constants; the members of its class; its rows for lists, which the class
// hands out as its Table().
#define KC_PREF_CONSTANT(constant, key, Kind, fallback, getDefault, getter, setter) \
  inline const CFStringRef constant = CFSTR(key);

#define KC_PREF_ACCESSORS(constant, key, Kind, fallback, getDefault, getter, setter) \
  [[nodiscard]] static kcprefs::Kind::Default getDefault() { return fallback; }      \
  [[nodiscard]] kcprefs::Kind::Value getter() const {                                \
    return kcprefs::Kind::Get(*this, constant, getDefault);                          \
  }                                                                                  \
  void setter(kcprefs::Kind::Value value) const { kcprefs::Kind::Save(*this, constant, value); }

#define KC_PREF_ROW(constant, key, Kind, fallback, getDefault, getter, setter)  \
  KCPrefRow{constant, kcprefs::Kind::kType, kcprefs::Kind::kNegativeIsReplaced, \
            [] { return kcprefs::Kind::CreateStored(getDefault()); }},
