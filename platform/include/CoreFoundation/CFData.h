// Immutable byte buffers.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

CFTypeID CFDataGetTypeID();

// A copy of `length` bytes; null for a negative length. `bytes` may be null when `length` is 0.
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
CFIndex CFDataGetLength(CFDataRef data);
const UInt8* CFDataGetBytePtr(CFDataRef data);

}  // extern "C"
