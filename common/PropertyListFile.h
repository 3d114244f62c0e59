// Property lists in files, and what is taken out of them by type.
//
// Any thread; nothing here throws.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <string>

// The whole file; null when it cannot be read or is no property list. The caller releases.
CFPropertyListRef CreatePropertyListWithFile(CFURLRef url);
CFPropertyListRef CreatePropertyListWithFile(const std::string& path);

// The value as a string, an array or a dictionary; null when it is null or of another type. Borrowed.
CFStringRef AsString(CFTypeRef value);
CFArrayRef AsArray(CFTypeRef value);
CFDictionaryRef AsDictionary(CFTypeRef value);
