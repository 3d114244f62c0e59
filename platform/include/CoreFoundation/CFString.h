// Strings of UTF-16 units, their conversion to and from byte encodings, and formats with "%@".
#pragma once
#include <CoreFoundation/CFBase.h>

#include <cstdarg>

extern "C" {

using CFStringEncoding = UInt32;
enum : CFStringEncoding {
  kCFStringEncodingMacRoman = 0,
  kCFStringEncodingUTF16 = 0x0100,
  kCFStringEncodingISOLatin1 = 0x0201,
  kCFStringEncodingASCII = 0x0600,
  kCFStringEncodingUTF8 = 0x08000100,
  kCFStringEncodingInvalidId = 0xffffffffU
};

CFTypeID CFStringGetTypeID();

// The 8-bit encoding of "%s" and of old interfaces: Mac Roman.
CFStringEncoding CFStringGetSystemEncoding();

// Null when `text` is null or is not valid in `encoding`.
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);

// printf's conversions, positional arguments, and "%@" for any value. `options` is ignored and may be null.
CFStringRef CFStringCreateWithFormat(CFAllocatorRef allocator, CFDictionaryRef options, CFStringRef format,
                                     ...);
CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef allocator, CFDictionaryRef options,
                                                 CFStringRef format, va_list arguments);

// In UTF-16 units.
CFIndex CFStringGetLength(CFStringRef string);
UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index);

// Bytes that `length` UTF-16 units need at most, without a terminator; kCFNotFound when that overflows.
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

// All or nothing: false when a character cannot be converted or the text and its NUL do not fit into `size`
// bytes.
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding);

// Converts as many of the units of `range` as `encoding` can hold and `size` bytes have room for; returns how
// many units were converted. With `lossByte` 0 it ends at the first unit that cannot be converted, otherwise
// that byte stands for it. A null buffer, or a size of 0, only counts: `usedBytes` (may be null) then gets
// the size needed.
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex size, CFIndex* usedBytes);

// By UTF-16 units; `options` 0 is the only choice.
CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, CFOptionFlags options);

CFStringRef __CFStringMakeConstantString(const char* text);

}  // extern "C"

// A constant string: made once per text, never freed.
#define CFSTR(text) __CFStringMakeConstantString("" text "")
