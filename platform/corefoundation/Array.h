// The array value as the other files of this folder see it.
#pragma once
#include <CoreFoundation/CFArray.h>

#include <vector>

#include "platform/corefoundation/Object.h"

// Changed only when it was made to be, and then by one thread at a time.
struct __CFArray final : platform::cf::Object {
  explicit __CFArray(std::vector<platform::cf::Kept> content, bool canChange = false)
      : Object(platform::cf::Type::kArray), values(std::move(content)), changes(canChange) {}

  [[nodiscard]] bool Equals(const Object& other) const override;
  [[nodiscard]] CFHashCode Hash() const override { return values.size(); }
  [[nodiscard]] std::u16string Description() const override;
  [[nodiscard]] std::u16string Text() const override { return ElementText(0); }
  [[nodiscard]] std::u16string ElementText(size_t indent) const override;

  std::vector<platform::cf::Kept> values;
  const bool changes;
};
