// Bytes as a property list: whatever is read can be copied, and written in both forms, and read back equal.
//
// Input: the list's bytes.
#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <cstdlib>

#include "common/StCFTypeRef.h"

namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const StCFTypeRef<CFDataRef> bytes(CFDataCreate(nullptr, data, static_cast<CFIndex>(size)));
  CFErrorRef error = nullptr;
  const StCFTypeRef<CFPropertyListRef> list(
      CFPropertyListCreateWithData(nullptr, bytes.get(), kCFPropertyListImmutable, nullptr, &error));
  Check((list.get() == nullptr) == (error != nullptr));
  if (error != nullptr) {
    CFRelease(error);
    return 0;
  }
  const StCFTypeRef<CFPropertyListRef> copy(
      CFPropertyListCreateDeepCopy(nullptr, list.get(), kCFPropertyListImmutable));
  Check(copy.get() != nullptr && CFEqual(copy.get(), list.get()));
  for (const auto format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
    const StCFTypeRef<CFDataRef> written(CFPropertyListCreateData(nullptr, list.get(), format, 0, nullptr));
    Check(written.get() != nullptr);
    CFPropertyListFormat readFormat{};
    const StCFTypeRef<CFPropertyListRef> back(
        CFPropertyListCreateWithData(nullptr, written.get(), kCFPropertyListImmutable, &readFormat, nullptr));
    Check(back.get() != nullptr && readFormat == format && CFEqual(back.get(), list.get()));
  }
  return 0;
}
