// Why a call failed.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

// A sentence for people.
CFStringRef CFErrorCopyDescription(CFErrorRef error);

}  // extern "C"
