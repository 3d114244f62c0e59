// The string value as the other files of this folder see it.
#pragma once
#include <CoreFoundation/CFString.h>

#include <string>
#include <string_view>

#include "platform/corefoundation/Object.h"

// Never changes after it was made, so any thread may read it; unless it was made to be changed, by one thread
// at a time.
struct __CFString final : platform::cf::Object {
  explicit __CFString(std::u16string text, bool canChange = false)
      : Object(platform::cf::Type::kString), units(std::move(text)), changes(canChange) {}

  [[nodiscard]] bool Equals(const Object& other) const override;
  [[nodiscard]] CFHashCode Hash() const override;
  [[nodiscard]] std::u16string Description() const override;
  [[nodiscard]] std::u16string Text() const override { return units; }

  std::u16string units;
  const bool changes;
};

namespace platform::cf {

// The caller's to release.
CFStringRef CreateString(std::u16string text);

// Text of ASCII characters as UTF-16 units.
std::u16string Widen(std::string_view ascii);

// As a container shows it: as it is when it is one word of ASCII letters, digits and some signs, else in
// quotes, with escapes.
std::u16string QuotedUnlessWord(std::u16string_view text);

// Part of a string; a range that goes beyond it is a fault.
std::u16string_view Slice(CFStringRef string, CFRange range);

}  // namespace platform::cf
