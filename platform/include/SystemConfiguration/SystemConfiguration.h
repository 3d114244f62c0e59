// Who uses the console.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>

extern "C" {

using SCDynamicStoreRef = const struct __SCDynamicStore*;

// The login name of the console's user, "loginwindow" while a greeter shows, null when there is nobody. The
// caller releases. `store` may be null; so may `uid` and `gid`, which are set only with a result.
CFStringRef SCDynamicStoreCopyConsoleUser(SCDynamicStoreRef store, uid_t* uid, gid_t* gid);

}  // extern "C"
