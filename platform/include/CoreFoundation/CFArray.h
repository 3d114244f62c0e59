// Ordered collections of values.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

// Elements are always Core Foundation values that the array retains: the only choice of callbacks.
struct CFArrayCallBacks;
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

CFTypeID CFArrayGetTypeID();
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks);
CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef array);
// `capacity` is a hint.
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callBacks);
void CFArrayAppendValue(CFMutableArrayRef array, const void* value);

CFIndex CFArrayGetCount(CFArrayRef array);
// Borrowed; an index outside the array is a fault.
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

}  // extern "C"
