// Byte buffers.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

CFTypeID CFDataGetTypeID();

// A copy of `length` bytes; null for a negative length. `bytes` may be null when `length` is 0.
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
CFIndex CFDataGetLength(CFDataRef data);
// Borrowed until the data changes or goes.
const UInt8* CFDataGetBytePtr(CFDataRef data);

// Empty. `capacity` is a limit that the caller keeps; 0 for none.
CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity);
// Data that was not made mutable is a fault of the caller and ends the process.
void CFDataAppendBytes(CFMutableDataRef data, const UInt8* bytes, CFIndex length);

}  // extern "C"
