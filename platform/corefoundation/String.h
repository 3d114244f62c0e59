// The string value as the other files of this folder see it.
#pragma once
#include <CoreFoundation/CFString.h>

#include <string>
#include <string_view>

#include "platform/corefoundation/Object.h"

// Never changes after it was made, so any thread may read it.
struct __CFString final : platform::cf::Object {
  explicit __CFString(std::u16string text) : Object(platform::cf::Type::kString), units(std::move(text)) {}

  [[nodiscard]] bool Equals(const Object& other) const override;
  [[nodiscard]] CFHashCode Hash() const override;
  [[nodiscard]] std::u16string Description() const override;
  [[nodiscard]] std::u16string Text() const override { return units; }

  const std::u16string units;
};

namespace platform::cf {

// The caller's to release.
CFStringRef CreateString(std::u16string text);

// Text of ASCII characters as UTF-16 units.
std::u16string Widen(std::string_view ascii);

}  // namespace platform::cf
