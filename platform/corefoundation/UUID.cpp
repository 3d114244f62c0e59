// Universally unique identifiers: random ones, version 4 of RFC 4122.
#include <CoreFoundation/CFUUID.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <random>

#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"

struct __CFUUID final : platform::cf::Object {
  using Bytes = std::array<uint8_t, 16>;

  explicit __CFUUID(const Bytes& content) : Object(platform::cf::Type::kUUID), bytes(content) {}

  [[nodiscard]] bool Equals(const Object& other) const override {
    return bytes == static_cast<const __CFUUID&>(other).bytes;
  }
  [[nodiscard]] CFHashCode Hash() const override {
    CFHashCode hash;
    std::memcpy(&hash, bytes.data(), sizeof hash);
    return hash;
  }
  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFUUID", this, Text());
  }
  [[nodiscard]] std::u16string Text() const override {
    std::u16string text;
    for (size_t i = 0; i < bytes.size(); ++i) {
      if (i == 4 || i == 6 || i == 8 || i == 10) text += u'-';
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02X", bytes[i]);
      text += platform::cf::Widen(digits);
    }
    return text;
  }

  const Bytes bytes;
};

extern "C" {

CFUUIDRef CFUUIDCreate(CFAllocatorRef) {
  std::random_device random;  // the machine's own source
  __CFUUID::Bytes bytes;
  for (size_t i = 0; i < bytes.size(); i += sizeof(uint32_t)) {
    const uint32_t word = random();
    std::memcpy(&bytes[i], &word, sizeof word);
  }
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);
  return new __CFUUID(bytes);
}

CFStringRef CFUUIDCreateString(CFAllocatorRef, CFUUIDRef uuid) {
  return platform::cf::CreateString(uuid->Text());
}

}  // extern "C"
