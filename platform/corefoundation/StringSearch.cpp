// Comparing strings, finding one in another, and the number at a string's start.
#include "platform/corefoundation/StringSearch.h"

#include <glib.h>

#include <algorithm>

#include "platform/corefoundation/String.h"

namespace platform::cf {

namespace {

// What case-insensitive comparison sees of text: its lower case, of which no unit may change its place.
std::u16string Folded(std::u16string_view text, CFOptionFlags options) {
  return (options & kCFCompareCaseInsensitive) != 0 ? Lowercase(text) : std::u16string(text);
}

}  // namespace

std::u16string Lowercase(std::u16string_view text) {
  std::u16string lower(text);
  for (size_t i = 0; i < lower.size(); ++i) {
    const bool isPair =
        i + 1 < lower.size() && (lower[i] & 0xFC00) == 0xD800 && (lower[i + 1] & 0xFC00) == 0xDC00;
    if (!isPair) {
      // No character outside the pairs' planes has its lower case in them.
      lower[i] = static_cast<char16_t>(g_unichar_tolower(lower[i]));
      continue;
    }
    const gunichar code = 0x10000u + ((lower[i] & 0x3FFu) << 10) + (lower[i + 1] & 0x3FFu);
    const gunichar mapped = g_unichar_tolower(code);
    lower[i] = static_cast<char16_t>(0xD7C0 + (mapped >> 10));
    lower[++i] = static_cast<char16_t>(0xDC00 + (mapped & 0x3FF));
  }
  return lower;
}

size_t FindText(std::u16string_view text, std::u16string_view needle, size_t from, CFOptionFlags options) {
  if (needle.empty()) return std::u16string_view::npos;
  if ((options & kCFCompareCaseInsensitive) == 0) return text.find(needle, from);
  return Lowercase(text).find(Lowercase(needle), from);
}

}  // namespace platform::cf

extern "C" {

CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, CFOptionFlags options) {
  const int order = platform::cf::Folded(a->units, options).compare(platform::cf::Folded(b->units, options));
  if (order == 0) return kCFCompareEqualTo;
  return order < 0 ? kCFCompareLessThan : kCFCompareGreaterThan;
}

Boolean CFStringHasPrefix(CFStringRef string, CFStringRef prefix) {
  return !prefix->units.empty() && string->units.starts_with(prefix->units);
}

Boolean CFStringHasSuffix(CFStringRef string, CFStringRef suffix) {
  return !suffix->units.empty() && string->units.ends_with(suffix->units);
}

CFRange CFStringFind(CFStringRef string, CFStringRef text, CFOptionFlags options) {
  const size_t found = platform::cf::FindText(string->units, text->units, 0, options);
  if (found == std::u16string::npos) return CFRangeMake(kCFNotFound, 0);
  return CFRangeMake(static_cast<CFIndex>(found), CFStringGetLength(text));
}

}  // extern "C"
