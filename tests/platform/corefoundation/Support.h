// Short ways between C++ text and Core Foundation values.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string>
#include <type_traits>

namespace test {

struct ReleaseValue {
  void operator()(const void* value) const { CFRelease(value); }
};
// Owns what a Create or Copy function returned.
template <class Ref>
using Owned = std::unique_ptr<std::remove_pointer_t<Ref>, ReleaseValue>;

inline Owned<CFStringRef> MakeString(const std::u16string& units) {
  return Owned<CFStringRef>(CFStringCreateWithBytes(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(units.data()),
      static_cast<CFIndex>(units.size() * sizeof(char16_t)), kCFStringEncodingUTF16, false));
}

inline std::u16string UnitsOf(CFStringRef string) {
  std::u16string units;
  for (CFIndex i = 0; i < CFStringGetLength(string); ++i) units += CFStringGetCharacterAtIndex(string, i);
  return units;
}

inline std::string Utf8Of(CFStringRef string) {
  std::string bytes(static_cast<size_t>(CFStringGetLength(string)) * 3 + 1, '\0');
  if (!CFStringGetCString(string, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8)) {
    return "(does not convert)";
  }
  return bytes.c_str();
}

inline Owned<CFURLRef> MakeUrl(const std::string& path, bool isDirectory) {
  return Owned<CFURLRef>(CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
      isDirectory));
}

}  // namespace test
