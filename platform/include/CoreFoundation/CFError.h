// Why a call failed.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

CFIndex CFErrorGetCode(CFErrorRef error);
// A sentence for people.
CFStringRef CFErrorCopyDescription(CFErrorRef error);

}  // extern "C"
