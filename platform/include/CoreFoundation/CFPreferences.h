// Settings that are kept by domain, user and host.
//
// Two kinds of domains are kept: an application's for any user and the current host, which is the machine's
// own, and the global one (any application) of the current user for any host. Others are empty and cannot be
// written, and so are applications whose name holds a "/" or "..".
//
// Any thread. A value that was set is seen at once in this process and by others after
// CFPreferencesSynchronize; what others have written is seen after the next one here.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

extern const CFStringRef kCFPreferencesAnyApplication;
extern const CFStringRef kCFPreferencesAnyUser;
extern const CFStringRef kCFPreferencesCurrentUser;
extern const CFStringRef kCFPreferencesAnyHost;
extern const CFStringRef kCFPreferencesCurrentHost;

// Null when nothing is stored; the caller releases. The user's "AppleLanguages" that are not stored are those
// of the environment.
CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user,
                                         CFStringRef host);
// Stores a copy of the value, which must be a property list; null removes the key.
void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef application,
                           CFStringRef user, CFStringRef host);
// Writes what was set, key by key, and takes over what others have written since. False when it could not be
// written or read: the changes are kept and tried again the next time.
Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host);

}  // extern "C"
