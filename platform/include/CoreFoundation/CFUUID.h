// Universally unique identifiers.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

// A new random one.
CFUUIDRef CFUUIDCreate(CFAllocatorRef allocator);
// 36 characters, upper case.
CFStringRef CFUUIDCreateString(CFAllocatorRef allocator, CFUUIDRef uuid);

}  // extern "C"
