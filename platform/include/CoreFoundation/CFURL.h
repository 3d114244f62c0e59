// File URLs: the part of the URL interface that walks paths.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

CFTypeID CFURLGetTypeID();

// Null for an empty path. A relative path is taken from the working folder.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* path, CFIndex length,
                                                 Boolean isDirectory);
// The absolute path, NUL-terminated, without a trailing separator; false when `size` bytes do not hold it.
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex size);
CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url);
CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef allocator, CFURLRef url, CFStringRef component,
                                               Boolean isDirectory);
CFStringRef CFURLCopyLastPathComponent(CFURLRef url);
CFStringRef CFURLGetString(CFURLRef url);

}  // extern "C"
