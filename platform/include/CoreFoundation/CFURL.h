// File URLs: the part of the URL interface that walks paths.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

CFTypeID CFURLGetTypeID();

// Null for an empty path and one with a NUL in it. A relative path is taken from the working folder. The
// URL's text ends with a separator when `isDirectory` is set, and else does not.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* path, CFIndex length,
                                                 Boolean isDirectory);
// The path, NUL-terminated, without a trailing separator; false when `size` bytes do not hold it. It is
// absolute when `resolveAgainstBase` is set, else as relative as it was given.
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex size);
CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url);
// Without escapes; null when the bytes are not UTF-8.
CFStringRef CFURLCopyLastPathComponent(CFURLRef url);
// Borrowed, with percent escapes; of a relative path the relative text.
CFStringRef CFURLGetString(CFURLRef url);

}  // extern "C"
