// Which release of the operating system this is, from the files in which it describes itself. A system
// without such files has the version 0, no product name of its own and is no server.
//
// What is read is kept without a lock between the caches: the first calls come from one thread. Nothing here
// throws.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include <cstdint>

// The packed version with that number 0xMMmbSSrr.
inline NumVersion MakeNumVersion(uint32_t number) {
  return {static_cast<UInt8>(number), static_cast<UInt8>(number >> 8), static_cast<UInt8>(number >> 16),
          static_cast<UInt8>(number >> 24)};
}

// 0x1000 + 16 * minor + bug-fix: 0x10D6 is 10.13.6. 0 when the system does not tell.
uint32_t KCGetHexSystemVersionNumber();

// The product is a server's; known once the function above was called.
bool KCIsServer();

// Packs the number above, and returns it: its upper byte is the major version as it stands, 0x10 and not 10.
uint32_t KCGetSystemNumVersion(NumVersion* version);

// A release from 10.0 to 10.2.
bool UseJaguar();

// What the file of the system or of the server says; null when it cannot be read. The caller releases.
CFDictionaryRef KCGetSystemVersionDictionary();
CFDictionaryRef KCGetServerVersionDictionary();

// Product name, version and age of the server's file, or else of the system's; false when there is neither.
// What is not told is null; the caller releases the rest.
bool KCGetSystemProductInfo(CFStringRef* name, CFStringRef* version, CFDateRef* date);

// There is a server's file.
bool KCIsServerVersion();

// The product name from the server's file, else from the system's, else "Mac OS X". The caller releases.
CFStringRef KCGetSystemProductName();
