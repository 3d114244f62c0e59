// Byte buffers.
#include <CoreFoundation/CFData.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Handles.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"

struct __CFData final : platform::cf::Object {
  explicit __CFData(bool canChange) : Object(platform::cf::Type::kData), changes(canChange) {}

  [[nodiscard]] std::string_view View() const { return {reinterpret_cast<const char*>(bytes.get()), size}; }

  // False when there is no memory for it.
  [[nodiscard]] bool Append(const UInt8* more, size_t length) {
    if (bytes == nullptr || length > capacity - size) {
      const size_t wanted = std::max({size + length, size + size / 2, size_t{1}});
      void* const grown = std::realloc(bytes.get(), wanted);
      if (grown == nullptr) return false;
      static_cast<void>(bytes.release());
      bytes.reset(static_cast<UInt8*>(grown));
      capacity = wanted;
    }
    if (length > 0) std::memcpy(bytes.get() + size, more, length);
    size += length;
    return true;
  }

  [[nodiscard]] bool Equals(const Object& other) const override {
    return View() == static_cast<const __CFData&>(other).View();
  }
  [[nodiscard]] CFHashCode Hash() const override { return std::hash<std::string_view>{}(View()); }
  [[nodiscard]] std::u16string Description() const override;

  const bool changes;
  platform::MallocPtr<UInt8[]> bytes;
  size_t size = 0;
  size_t capacity = 0;
};

// The first bytes only: a description is for reading.
std::u16string __CFData::Description() const {
  constexpr size_t kShown = 24;
  std::string details = "length = " + std::to_string(size) + ", bytes = 0x";
  for (size_t i = 0; i < std::min(size, kShown); ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
    details += digits;
  }
  if (size > kShown) details += " ...";
  return platform::cf::Describe("CFData", this, platform::cf::Widen(details));
}

extern "C" {

CFTypeID CFDataGetTypeID() { return static_cast<CFTypeID>(platform::cf::Type::kData); }

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
  if (length < 0 || (bytes == nullptr && length > 0)) return nullptr;
  auto data = std::make_unique<__CFData>(false);
  return data->Append(bytes, static_cast<size_t>(length)) ? data.release() : nullptr;
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex) { return new __CFData(true); }

void CFDataAppendBytes(CFMutableDataRef data, const UInt8* bytes, CFIndex length) {
  if (!data->changes || length < 0)
    platform::cf::Fault("data was changed that cannot be, or by less than nothing");
  if (!data->Append(bytes, static_cast<size_t>(length))) platform::cf::Fault("no memory for data");
}

CFIndex CFDataGetLength(CFDataRef data) { return static_cast<CFIndex>(data->size); }

const UInt8* CFDataGetBytePtr(CFDataRef data) { return data->bytes.get(); }

}  // extern "C"
