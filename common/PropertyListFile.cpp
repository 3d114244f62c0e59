#include "common/PropertyListFile.h"

#include "common/StCFTypeRef.h"

namespace {

template <class Ref>
Ref As(CFTypeRef value, CFTypeID type) {
  return value != nullptr && CFGetTypeID(value) == type ? static_cast<Ref>(value) : nullptr;
}

}  // namespace

CFPropertyListRef CreatePropertyListWithFile(CFURLRef url) {
  const StCFTypeRef<CFReadStreamRef> stream{CFReadStreamCreateWithFile(kCFAllocatorDefault, url)};
  if (stream == nullptr || !CFReadStreamOpen(stream)) return nullptr;
  const CFPropertyListRef read = CFPropertyListCreateWithStream(kCFAllocatorDefault, stream, 0,
                                                                kCFPropertyListImmutable, nullptr, nullptr);
  CFReadStreamClose(stream);
  return read;
}

CFPropertyListRef CreatePropertyListWithFile(const std::string& path) {
  const StCFTypeRef<CFURLRef> url{CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
      false)};
  return url != nullptr ? CreatePropertyListWithFile(url) : nullptr;
}

CFStringRef AsString(CFTypeRef value) { return As<CFStringRef>(value, CFStringGetTypeID()); }
CFArrayRef AsArray(CFTypeRef value) { return As<CFArrayRef>(value, CFArrayGetTypeID()); }
CFDictionaryRef AsDictionary(CFTypeRef value) { return As<CFDictionaryRef>(value, CFDictionaryGetTypeID()); }
