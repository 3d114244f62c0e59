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
  kCFStringEncodingUTF8 = 0x08000100
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

enum CFStringCompareFlags : CFOptionFlags { kCFCompareCaseInsensitive = 1 };

// By UTF-16 units.
CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, CFOptionFlags options);

// False for an empty prefix or suffix.
Boolean CFStringHasPrefix(CFStringRef string, CFStringRef prefix);
Boolean CFStringHasSuffix(CFStringRef string, CFStringRef suffix);
// The first place; (kCFNotFound, 0) when there is none, as for an empty text.
CFRange CFStringFind(CFStringRef string, CFStringRef text, CFOptionFlags options);

CFStringRef CFStringCreateCopy(CFAllocatorRef allocator, CFStringRef string);

// ---- strings that change: one thread at a time; `maxLength` 0 means no limit and is the only choice

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef allocator, CFIndex maxLength);
CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef allocator, CFIndex maxLength, CFStringRef string);
void CFStringAppend(CFMutableStringRef string, CFStringRef text);
// Within `range`; how many were replaced.
CFIndex CFStringFindAndReplace(CFMutableStringRef string, CFStringRef text, CFStringRef replacement,
                               CFRange range, CFOptionFlags options);
// Takes whole `text`s off both ends.
void CFStringTrim(CFMutableStringRef string, CFStringRef text);
// Character by character, as the Unicode tables say, the same in every locale; `locale` is null.
void CFStringLowercase(CFMutableStringRef string, const void* locale);

CFStringRef __CFStringMakeConstantString(const char* text);

}  // extern "C"

// A constant string: made once per text, never freed.
#define CFSTR(text) __CFStringMakeConstantString("" text "")
