// Strings that change.
#include <string>

#include "platform/corefoundation/String.h"
#include "platform/corefoundation/StringSearch.h"

namespace {

std::u16string& UnitsToChange(CFMutableStringRef string) {
  if (!string->changes) platform::cf::Fault("a string was changed that cannot be");
  return string->units;
}

}  // namespace

extern "C" {

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex) { return new __CFString({}, true); }

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef string) {
  return new __CFString(string->units, true);
}

void CFStringAppend(CFMutableStringRef string, CFStringRef text) { UnitsToChange(string) += text->units; }

CFIndex CFStringFindAndReplace(CFMutableStringRef string, CFStringRef text, CFStringRef replacement,
                               CFRange range, CFOptionFlags options) {
  auto& units = UnitsToChange(string);
  const auto part = platform::cf::Slice(string, range);
  std::u16string replaced;
  CFIndex count = 0;
  size_t done = 0;
  for (size_t found; (found = platform::cf::FindText(part, text->units, done, options)) != part.npos;
       ++count) {
    replaced.append(part.substr(done, found - done)).append(replacement->units);
    done = found + text->units.size();
  }
  replaced += part.substr(done);
  units.replace(static_cast<size_t>(range.location), static_cast<size_t>(range.length), replaced);
  return count;
}

void CFStringTrim(CFMutableStringRef string, CFStringRef text) {
  auto& units = UnitsToChange(string);
  const std::u16string& trimmed = text->units;
  if (trimmed.empty()) return;
  std::u16string_view rest = units;
  while (rest.starts_with(trimmed)) rest.remove_prefix(trimmed.size());
  while (rest.ends_with(trimmed)) rest.remove_suffix(trimmed.size());
  units = std::u16string(rest);
}

void CFStringLowercase(CFMutableStringRef string, const void*) {
  auto& units = UnitsToChange(string);
  units = platform::cf::Lowercase(units);
}

}  // extern "C"
