// Types, ownership and comparison that every Core Foundation value shares.
//
// Ownership: a reference from a function named Create or Copy is the caller's to release; one from a Get
// function is borrowed. Counts are atomic; a value may be used by any thread while it is not changed.
#pragma once
#include <cstddef>
#include <cstdint>

extern "C" {

using Boolean = unsigned char;
using UInt8 = unsigned char;
using SInt8 = signed char;
using UInt16 = unsigned short;
using SInt16 = signed short;
using UInt32 = unsigned int;
using SInt32 = signed int;
using UniChar = UInt16;
using OSErr = SInt16;
using OSStatus = SInt32;
using OSType = UInt32;  // four characters

using CFIndex = long;
using CFTypeID = unsigned long;
using CFHashCode = unsigned long;
using CFOptionFlags = unsigned long;
using CFTimeInterval = double;
using CFAbsoluteTime = double;  // seconds since the start of 2001, UTC
using CFTypeRef = const void*;
using CFPropertyListRef = CFTypeRef;

using CFAllocatorRef = const struct __CFAllocator*;
using CFStringRef = const struct __CFString*;
using CFMutableStringRef = struct __CFString*;
using CFDataRef = const struct __CFData*;
using CFMutableDataRef = struct __CFData*;
using CFNumberRef = const struct __CFNumber*;
using CFBooleanRef = const struct __CFBoolean*;
using CFDateRef = const struct __CFDate*;
using CFArrayRef = const struct __CFArray*;
using CFMutableArrayRef = struct __CFArray*;
using CFDictionaryRef = const struct __CFDictionary*;
using CFMutableDictionaryRef = struct __CFDictionary*;
using CFUUIDRef = const struct __CFUUID*;
using CFURLRef = const struct __CFURL*;
using CFErrorRef = struct __CFError*;
using CFReadStreamRef = struct __CFReadStream*;
using CFBundleRef = struct __CFBundle*;
using CFRunLoopRef = struct __CFRunLoop*;
using CFRunLoopSourceRef = struct __CFRunLoopSource*;
using CFRunLoopTimerRef = struct __CFRunLoopTimer*;
using CFMessagePortRef = struct __CFMessagePort*;
using CFMachPortRef = struct __CFMachPort*;

struct CFRange {
  CFIndex location;
  CFIndex length;
};

enum CFComparisonResult : CFIndex {
  kCFCompareLessThan = -1,
  kCFCompareEqualTo = 0,
  kCFCompareGreaterThan = 1
};
enum { kCFNotFound = -1 };

// Every value lives on the process's heap: the default allocator is the only one.
extern const CFAllocatorRef kCFAllocatorDefault;

// Bare memory, which the caller gives back with CFAllocatorDeallocate. Null for a size that is not above 0,
// and when there is none. CFAllocatorReallocate keeps what fits; null makes it an allocation.
void* CFAllocatorAllocate(CFAllocatorRef allocator, CFIndex size, CFOptionFlags hint);
void* CFAllocatorReallocate(CFAllocatorRef allocator, void* memory, CFIndex size, CFOptionFlags hint);
void CFAllocatorDeallocate(CFAllocatorRef allocator, void* memory);

// CFRetain returns its argument. Null is a fault of the caller and ends the process, here and in the
// functions below that do not mention it.
CFTypeRef CFRetain(CFTypeRef value);
void CFRelease(CFTypeRef value);

CFIndex CFGetRetainCount(CFTypeRef value);
CFTypeID CFGetTypeID(CFTypeRef value);

// By value; values of different types are never equal.
Boolean CFEqual(CFTypeRef a, CFTypeRef b);
CFHashCode CFHash(CFTypeRef value);

}  // extern "C"

inline constexpr CFRange CFRangeMake(CFIndex location, CFIndex length) { return {location, length}; }
