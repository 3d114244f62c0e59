// Numbers, which are signed 64-bit integers or doubles behind one type, and the two booleans.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

enum CFNumberType : CFIndex {
  kCFNumberSInt8Type = 1,
  kCFNumberSInt16Type = 2,
  kCFNumberSInt32Type = 3,
  kCFNumberSInt64Type = 4,
  kCFNumberFloat32Type = 5,
  kCFNumberFloat64Type = 6,
  kCFNumberCharType = 7,
  kCFNumberShortType = 8,
  kCFNumberIntType = 9,
  kCFNumberLongType = 10,
  kCFNumberLongLongType = 11,
  kCFNumberFloatType = 12,
  kCFNumberDoubleType = 13,
  kCFNumberCFIndexType = 14
};

CFTypeID CFNumberGetTypeID();
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);

// Always writes `value`; false when the conversion lost something.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

// The only two; a number never equals one of them.
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
CFTypeID CFBooleanGetTypeID();
Boolean CFBooleanGetValue(CFBooleanRef boolean);

}  // extern "C"
