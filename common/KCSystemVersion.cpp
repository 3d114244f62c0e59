#include "common/KCSystemVersion.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/KCStringUtils.h"
#include "common/PropertyListFile.h"
#include "common/StCFTypeRef.h"
#include "platform/System.h"

namespace {

std::atomic<uint32_t> gHexSystemVersion = 0;  // not yet read
std::atomic<bool> gIsServer = false;

// Not yet known: all bits set.
std::atomic<int8_t> fUseJaguar = -1;

const CFStringRef kProductName = CFSTR("ProductName");
const CFStringRef kProductVersion = CFSTR("ProductVersion");

CFDictionaryRef CreateDictionaryWithFile(const std::string& path) {
  StCFTypeRef<CFPropertyListRef> read{path.empty() ? nullptr : CreatePropertyListWithFile(path)};
  return AsDictionary(read) != nullptr ? AsDictionary(read.Release()) : nullptr;
}

// The decimal number at the start of the text, within what such a number can be.
uint32_t Decimal(const char* text) {
  return static_cast<uint32_t>(std::clamp(std::strtol(text, nullptr, 10), 0L, 0xFFFFL));
}

// The number before the first dot is not looked at: it is always taken as 10.
uint32_t HexVersion(const char* productVersion) {
  const char* const minor = std::strchr(productVersion, '.');
  const char* const bugFix = minor != nullptr ? std::strchr(minor + 1, '.') : nullptr;
  return 0x1000 + (minor != nullptr ? Decimal(minor + 1) << 4 : 0) +
         (bugFix != nullptr ? Decimal(bugFix + 1) : 0);
}

CFStringRef CopyString(CFDictionaryRef dictionary, CFStringRef key) {
  const CFStringRef string =
      dictionary != nullptr ? AsString(CFDictionaryGetValue(dictionary, key)) : nullptr;
  return string != nullptr ? static_cast<CFStringRef>(CFRetain(string)) : nullptr;
}

CFDateRef CreateCreationDate(const std::string& path) {
  constexpr double kStartOf2001 = 978307200;  // in seconds since 1970
  const auto created = platform::FileCreationTime(path);
  return created ? CFDateCreate(kCFAllocatorDefault, *created - kStartOf2001) : nullptr;
}

}  // namespace

uint32_t KCGetHexSystemVersionNumber() {
  if (gHexSystemVersion != 0) return gHexSystemVersion;
  const StCFTypeRef<CFDictionaryRef> file{KCGetSystemVersionDictionary()};
  const StCFTypeRef<CFStringRef> version{CopyString(file, kProductVersion)};
  const StCFTypeRef<CFStringRef> name{CopyString(file, kProductName)};
  gIsServer = name != nullptr &&
              CFStringFind(name, CFSTR("Server"), kCFCompareCaseInsensitive).location != kCFNotFound;
  char text[512];
  if (KCStringGetCString(version, text, sizeof text, kCFStringEncodingUTF8) == 0) return 0;
  gHexSystemVersion = HexVersion(text);
  return gHexSystemVersion;
}

bool KCIsServer() { return gIsServer; }

uint32_t KCGetSystemNumVersion(NumVersion* version) {
  const uint32_t number = KCGetHexSystemVersionNumber();
  constexpr UInt8 kFinal = 0x80;
  *version = {0, kFinal, static_cast<UInt8>(number), static_cast<UInt8>(number >> 8)};
  return number;
}

bool UseJaguar() {
  if (fUseJaguar < 0) {
    const uint32_t number = KCGetHexSystemVersionNumber();
    fUseJaguar = (number & 0xFF) < 0x30 && (number >> 8 & 0xFF) == 0x10 ? 1 : 0;
  }
  return fUseJaguar == 1;
}

CFDictionaryRef KCGetSystemVersionDictionary() {
  return CreateDictionaryWithFile(platform::GetSystemFiles().version);
}

CFDictionaryRef KCGetServerVersionDictionary() {
  return CreateDictionaryWithFile(platform::GetSystemFiles().serverVersion);
}

bool KCGetSystemProductInfo(CFStringRef* name, CFStringRef* version, CFDateRef* date) {
  *name = nullptr;
  *version = nullptr;
  *date = nullptr;
  const platform::SystemFiles files = platform::GetSystemFiles();
  for (const std::string& path : {files.serverVersion, files.version}) {
    const StCFTypeRef<CFDictionaryRef> file{CreateDictionaryWithFile(path)};
    if (file == nullptr) continue;
    *name = CopyString(file, kProductName);
    *version = CopyString(file, kProductVersion);
    *date = CreateCreationDate(path);
    return true;
  }
  return false;
}

bool KCIsServerVersion() {
  const std::string path = platform::GetSystemFiles().serverVersion;
  return !path.empty() && access(path.c_str(), F_OK) == 0;
}

CFStringRef KCGetSystemProductName() {
  const StCFTypeRef<CFDictionaryRef> server{KCGetServerVersionDictionary()};
  if (const CFStringRef name = CopyString(server, kProductName)) return name;
  const StCFTypeRef<CFDictionaryRef> system{KCGetSystemVersionDictionary()};
  if (const CFStringRef name = CopyString(system, kProductName)) return name;
  return static_cast<CFStringRef>(CFRetain(CFSTR("Mac OS X")));
}
