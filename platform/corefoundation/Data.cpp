// Immutable byte buffers.
#include <CoreFoundation/CFData.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"

struct __CFData final : platform::cf::Object {
  __CFData(std::unique_ptr<UInt8[]> content, size_t length)
      : Object(platform::cf::Type::kData), bytes(std::move(content)), size(length) {}

  [[nodiscard]] std::string_view View() const { return {reinterpret_cast<const char*>(bytes.get()), size}; }

  [[nodiscard]] bool Equals(const Object& other) const override {
    return View() == static_cast<const __CFData&>(other).View();
  }
  [[nodiscard]] CFHashCode Hash() const override { return std::hash<std::string_view>{}(View()); }
  [[nodiscard]] std::u16string Description() const override;

  const std::unique_ptr<const UInt8[]> bytes;
  const size_t size;
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
  const auto size = static_cast<size_t>(length);
  std::unique_ptr<UInt8[]> content(new (std::nothrow) UInt8[size]);
  if (!content) return nullptr;
  if (size > 0) std::memcpy(content.get(), bytes, size);
  return new __CFData(std::move(content), size);
}

CFIndex CFDataGetLength(CFDataRef data) { return static_cast<CFIndex>(data->size); }

const UInt8* CFDataGetBytePtr(CFDataRef data) { return data->bytes.get(); }

}  // extern "C"
