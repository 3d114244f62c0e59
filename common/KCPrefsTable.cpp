#include "common/KCPrefsTable.h"

namespace kcprefs {

bool IsOn(CFDictionaryRef flags, CFStringRef flag) {
  return CFDictionaryGetValue(flags, flag) == kCFBooleanTrue;
}

CFDictionaryRef CreateWithFlag(CFDictionaryRef flags, CFStringRef flag, bool on) {
  const CFMutableDictionaryRef changed = CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, flags);
  CFDictionarySetValue(changed, flag, on ? kCFBooleanTrue : kCFBooleanFalse);
  return changed;
}

}  // namespace kcprefs
