#include "common/KCPrefsTarvex.h"

namespace {

using UpdateNumbers = kcprefs::Dictionary<KCPrefType::kDictionary>;

// "ITEM:Last Update Number"
StCFTypeRef<CFStringRef> KeyOf(CFStringRef item) {
  return StCFTypeRef<CFStringRef>(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%@:%@"), item, kTarvexLastUpdateNumber));
}

}  // namespace

KCPrefsTarvex* KCPrefsTarvex::fSingleton = nullptr;

KCPrefsTarvex* KCPrefsTarvex::GetPrefs() {
  if (fSingleton == nullptr) fSingleton = new KCPrefsTarvex;
  SynchronizePreferences();
  return fSingleton;
}

std::span<const KCPrefRow> KCPrefsTarvex::Table() {
  static const KCPrefRow rows[] = {KC_PREFS_TARVEX(KC_PREF_ROW)};
  return rows;
}

CFDictionaryRef KCPrefsTarvex::GetDefaultLastUpdateNumbers() {
  return CFDictionaryCreate(kCFAllocatorDefault, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                            &kCFTypeDictionaryValueCallBacks);
}

CFDictionaryRef KCPrefsTarvex::GetLastUpdateNumber(CFStringRef item) const {
  return UpdateNumbers::Get(*this, KeyOf(item), GetDefaultLastUpdateNumbers);
}

void KCPrefsTarvex::SetLastUpdateNumber(CFStringRef item, CFDictionaryRef numbers) const {
  UpdateNumbers::Save(*this, KeyOf(item), numbers);
}
