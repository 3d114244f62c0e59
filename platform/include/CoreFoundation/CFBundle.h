// Bundles: folders with an Info.plist and resources in several languages.
//
// In a bundle NAME the former is NAME/Contents/Info.plist and the latter lie in NAME/Contents/Resources; in
// one without "Contents" they are NAME/Info.plist and NAME/Resources or NAME itself. The name of an ".lproj"
// folder is a language in any of its spellings: "English" is "en". The process's own language comes from its
// environment, else it is the bundle's "CFBundleDevelopmentRegion", else English.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

// Borrowed. The folder NAME.app when the executable is NAME.app/Contents/MacOS/PROGRAM, else the executable's
// folder.
CFBundleRef CFBundleGetMainBundle();
CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);

// Null when there is no folder at `url`.
CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef url);

// Borrowed: the Info.plist, empty when there is none.
CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle);

// The text of `key` in the table (null: "Localizable") in the process's own language; `value` when it is
// missing, and the key when that is null or empty. The caller releases.
CFStringRef CFBundleCopyLocalizedString(CFBundleRef bundle, CFStringRef key, CFStringRef value,
                                        CFStringRef table);
// The names of the bundle's ".lproj" folders.
CFArrayRef CFBundleCopyBundleLocalizations(CFBundleRef bundle);
// Those of `localizations` that suit the preferred languages, best first; "de" suits "de-CH". English, else
// the first one, when none does.
CFArrayRef CFBundleCopyLocalizationsForPreferences(CFArrayRef localizations, CFArrayRef preferences);
// A file NAME.TYPE of that ".lproj" folder; null when there is none. `subfolder` may be null.
CFURLRef CFBundleCopyResourceURLForLocalization(CFBundleRef bundle, CFStringRef name, CFStringRef type,
                                                CFStringRef subfolder, CFStringRef localization);

}  // extern "C"
