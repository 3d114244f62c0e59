// URLs, above all those of files.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

// Null for an empty path and one with a NUL in it. A relative path is taken from the working folder. The
// URL's text ends with a separator when `isDirectory` is set, and else does not.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* path, CFIndex length,
                                                 Boolean isDirectory);
// The path, NUL-terminated, without a trailing separator; false when `size` bytes do not hold it. It is
// absolute when `resolveAgainstBase` is set, else as relative as it was given. False too when the URL is no
// file's.
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex size);
// Null when the URL has no path.
CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url);
// Without escapes; null when the bytes are not UTF-8.
CFStringRef CFURLCopyLastPathComponent(CFURLRef url);
// Borrowed, with percent escapes; of a relative path the relative text.
CFStringRef CFURLGetString(CFURLRef url);

enum CFURLPathStyle : CFIndex { kCFURLPOSIXPathStyle = 0 };

// Of a file, as the function above.
CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef path, CFURLPathStyle style,
                                       Boolean isDirectory);
// Null when the text is no URL: blanks, characters outside ASCII, broken escapes. The base is null.
CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef text, CFURLRef base);

}  // extern "C"
