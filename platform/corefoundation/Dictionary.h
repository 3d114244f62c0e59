// The dictionary value as the other files of this folder see it.
#pragma once
#include <CoreFoundation/CFDictionary.h>

#include <map>

#include "platform/corefoundation/Object.h"

namespace platform::cf {

// Strings by their units, other keys by type and hash, so that unequal keys may stand side by side. An order,
// not a hash table: strings come from files, and no choice of them makes a look-up slow.
struct KeyOrder {
  bool operator()(const Kept& a, const Kept& b) const;
};

}  // namespace platform::cf

// Changed only when it was made to be, and then by one thread at a time.
struct __CFDictionary final : platform::cf::Object {
  using Entries = std::multimap<platform::cf::Kept, platform::cf::Kept, platform::cf::KeyOrder>;

  explicit __CFDictionary(Entries content, bool canChange = false)
      : Object(platform::cf::Type::kDictionary), entries(std::move(content)), changes(canChange) {}

  [[nodiscard]] bool Equals(const Object& other) const override;
  [[nodiscard]] CFHashCode Hash() const override { return entries.size(); }
  [[nodiscard]] std::u16string Description() const override;
  [[nodiscard]] std::u16string Text() const override { return ElementText(0); }
  [[nodiscard]] std::u16string ElementText(size_t indent) const override;

  // entries.end() when the key is missing.
  [[nodiscard]] Entries::const_iterator Find(CFTypeRef key) const;

  Entries entries;  // no two keys are equal
  const bool changes;
};
