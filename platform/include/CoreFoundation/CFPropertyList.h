// Trees of dictionaries, arrays, strings, numbers, booleans, dates and data, as bytes.
//
// Bytes may come from anywhere: what is damaged, nested deeper than 512 levels, or would unfold to more than
// a list of its size can hold, is refused; so are lists of more than 64 MiB or 262144 values, and dictionaries
// of more than 8192 keys. Dates are whole seconds from 1932 to 2069. An integer above the signed range is read
// as a real.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

enum CFPropertyListFormat : CFIndex {
  kCFPropertyListOpenStepFormat = 1,  // read only
  kCFPropertyListXMLFormat_v1_0 = 100,
  kCFPropertyListBinaryFormat_v1_0 = 200
};
enum : CFOptionFlags { kCFPropertyListImmutable = 0 };

// Recognises the format by the bytes. Null when they are not a property list; `error` (may be null) then gets
// the reason, which the caller releases. `format` may be null. `options` 0 is the only choice.
CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error);
// The same of an open stream, which is read to its end when `length` is 0.
CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef allocator, CFReadStreamRef stream,
                                                 CFIndex length, CFOptionFlags options,
                                                 CFPropertyListFormat* format, CFErrorRef* error);

// Null when the tree holds something else than the types above, a dictionary key that is no string, or a string
// with a NUL or half a surrogate pair in it.
CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                   CFPropertyListFormat format, CFOptionFlags options, CFErrorRef* error);

// A copy of the whole tree; its containers cannot be changed.
CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                               CFOptionFlags options);

}  // extern "C"
