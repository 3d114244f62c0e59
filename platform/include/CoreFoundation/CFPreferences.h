// Settings that are kept by domain, user and host.
//
// Any thread. A value that was set is seen at once in this process and by others after
// CFPreferencesSynchronize.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

extern const CFStringRef kCFPreferencesAnyApplication;
extern const CFStringRef kCFPreferencesAnyUser;
extern const CFStringRef kCFPreferencesCurrentUser;
extern const CFStringRef kCFPreferencesAnyHost;
extern const CFStringRef kCFPreferencesCurrentHost;

// Null when nothing is stored; the caller releases.
CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user,
                                         CFStringRef host);
// Stores a copy of the value; null removes the key.
void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef application,
                           CFStringRef user, CFStringRef host);
// Writes what was set and takes over what others have written since. False when it could not be written: the
// changes are kept and tried again the next time.
Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host);

}  // extern "C"
