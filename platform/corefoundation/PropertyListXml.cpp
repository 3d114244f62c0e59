// Checks XML property lists by the grammar of their document type, without attributes and entities of one's
// own.
#include "platform/corefoundation/PropertyListXml.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>

#include "platform/corefoundation/PropertyListLimits.h"

namespace platform::cf {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kHexDigits = "0123456789abcdefABCDEF";

std::string_view Trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

bool IsMadeOf(std::string_view text, std::string_view characters) {
  return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

template <class T>
bool IsIn(std::string_view digits, int base, T limit) {
  T value{};
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
  return error == std::errc() && end == digits.data() + digits.size() && value <= limit;
}

// Within 64 bits, signed or unsigned. A leading 0 is refused: the library takes it for octal.
bool IsInteger(std::string_view text) {
  text = Trimmed(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  const bool hex = text.starts_with("0x") || text.starts_with("0X");
  if (hex) text.remove_prefix(2);
  if (!IsMadeOf(text, hex ? kHexDigits : kDigits) || (!hex && text.size() > 1 && text.front() == '0'))
    return false;
  constexpr uint64_t kLimit = std::numeric_limits<uint64_t>::max();
  return IsIn<uint64_t>(text, hex ? 16 : 10, negative ? uint64_t{1} << 63 : kLimit);
}

bool IsReal(std::string_view text) {
  text = Trimmed(text);
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return false;
  }
  double value;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

int NumberAt(std::string_view text, size_t position, size_t length) {
  int value = 0;
  std::from_chars(text.data() + position, text.data() + position + length, value);
  return value;
}

// "2001-01-01T00:00:00Z", a moment that exists, within the 32 bits of seconds that the library keeps.
bool IsDate(std::string_view text) {
  using namespace std::chrono;
  constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:ddZ";
  const auto fits = [](char c, char form) { return form == 'd' ? c >= '0' && c <= '9' : c == form; };
  if (!std::ranges::equal(text, kForm, fits)) return false;
  const year_month_day day{year{NumberAt(text, 0, 4)}, month{static_cast<unsigned>(NumberAt(text, 5, 2))},
                           std::chrono::day{static_cast<unsigned>(NumberAt(text, 8, 2))}};
  const int hour = NumberAt(text, 11, 2);
  const int minute = NumberAt(text, 14, 2);
  const int second = NumberAt(text, 17, 2);
  if (!day.ok() || hour > 23 || minute > 59 || second > 59) return false;
  const sys_days epoch = year{2001} / January / 1;
  const seconds time = sys_days{day} - epoch + hours(hour) + minutes(minute) + seconds(second);
  return time.count() >= INT32_MIN && time.count() <= INT32_MAX;
}

// Whole groups of four, padded at the end only.
bool IsBase64(std::string_view text) {
  size_t letters = 0;
  size_t padding = 0;
  for (const char c : text) {
    if (kBlanks.find(c) != std::string_view::npos) continue;
    const bool isLetter =
        (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
    if (isLetter ? padding > 0 : c != '=') return false;
    ++(isLetter ? letters : padding);
  }
  return (letters + padding) % 4 == 0 && padding <= 2 && padding <= letters;
}

bool IsCharacterReference(std::string_view name) {
  name.remove_prefix(1);  // '#'
  const bool hex = name.starts_with('x');
  if (hex) name.remove_prefix(1);
  if (!IsMadeOf(name, hex ? kHexDigits : kDigits)) return false;
  uint32_t code = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), code, hex ? 16 : 10);
  return error == std::errc() && code != 0 && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

// Text with the five entities and references by number.
bool HasOnlyKnownEntities(std::string_view text) {
  constexpr std::array<std::string_view, 5> kKnown = {"lt", "gt", "amp", "quot", "apos"};
  for (size_t at = 0; (at = text.find('&', at)) != std::string_view::npos;) {
    const size_t end = text.find(';', at);
    if (end == std::string_view::npos) return false;
    const auto name = text.substr(at + 1, end - at - 1);
    const bool known =
        name.starts_with('#') ? IsCharacterReference(name) : std::ranges::find(kKnown, name) != kKnown.end();
    if (!known) return false;
    at = end;
  }
  return true;
}

// Walks over the text once. A function that returns false has set the reason.
class XmlChecker {
 public:
  explicit XmlChecker(std::string_view text) : rest_(text) {}

  std::string Run() {
    if (!Document() && reason_.empty()) reason_ = "the XML is cut off";
    return reason_;
  }

 private:
  struct Tag {
    std::string_view name;
    bool isEmpty;
  };

  bool Document() {
    if (!SkipProlog() || !SkipRootTag() || !SkipBetween() || !Value(0) || !SkipBetween() || !Close("plist") ||
        !SkipBetween()) {
      return false;
    }
    return rest_.empty() || Refuse("there is text after the property list");
  }

  bool SkipProlog() {
    for (;;) {
      if (!SkipBetween()) return false;
      if (rest_.starts_with("<?")) {
        if (!SkipDeclaration("?>")) return false;
      } else if (rest_.starts_with("<!DOCTYPE")) {
        if (!SkipDeclaration(">")) return false;
      } else {
        return true;
      }
    }
  }

  // Up to `end`. An internal subset, which can define entities, begins with a bracket.
  bool SkipDeclaration(std::string_view end) {
    const size_t found = rest_.find(end);
    if (found == std::string_view::npos) return false;
    const auto declaration = rest_.substr(1, found - 1);
    if (declaration.find_first_of("<>[") != std::string_view::npos ||
        std::ranges::count(declaration, '"') % 2 != 0) {
      return Refuse("the document type is not that of a property list");
    }
    rest_.remove_prefix(found + end.size());
    return true;
  }

  bool SkipRootTag() {
    constexpr std::string_view kRoot = "<plist";
    if (!rest_.starts_with(kRoot)) return Refuse("there is no plist element");
    rest_.remove_prefix(kRoot.size());
    const size_t end = rest_.find('>');
    if (end == std::string_view::npos) return false;
    const auto attributes = rest_.substr(0, end);
    if (!attributes.empty() && kBlanks.find(attributes.front()) == std::string_view::npos) {
      return Refuse("there is no plist element");
    }
    if (attributes.ends_with('/')) return Refuse("the plist element is empty");
    if (attributes.find('<') != std::string_view::npos || std::ranges::count(attributes, '"') % 2 != 0) {
      return Refuse("the plist element is malformed");
    }
    rest_.remove_prefix(end + 1);
    return true;
  }

  // Blanks and comments.
  bool SkipBetween() {
    constexpr std::string_view kOpen = "<!--";
    for (;;) {
      rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size()));
      if (!rest_.starts_with(kOpen)) return true;
      const size_t end = rest_.find("--", kOpen.size());
      if (end == std::string_view::npos) return false;
      if (rest_[kOpen.size()] == '>' || !rest_.substr(end).starts_with("-->"))
        return Refuse("a comment is malformed");
      rest_.remove_prefix(end + 3);
    }
  }

  // One value, inside `depth` containers.
  bool Value(size_t depth) {
    const auto tag = Open();
    if (!tag) return false;
    if (!tally_.Add(0)) return Refuse("the list holds too many values");
    if (tag->name == "dict") return Container(*tag, depth, &XmlChecker::Entries);
    if (tag->name == "array") return Container(*tag, depth, &XmlChecker::Elements);
    if (tag->name == "string") return tag->isEmpty || (Text() && Close("string"));
    if (tag->name == "integer") return Scalar(*tag, IsInteger);
    if (tag->name == "real") return Scalar(*tag, IsReal);
    if (tag->name == "date") return Scalar(*tag, IsDate);
    if (tag->name == "data") return tag->isEmpty || Scalar(*tag, IsBase64);
    if (tag->name == "true" || tag->name == "false") {
      return tag->isEmpty || Scalar(*tag, [](std::string_view text) { return Trimmed(text).empty(); });
    }
    return Refuse("an element is none of a property list's");
  }

  std::optional<Tag> Open() {
    if (!rest_.starts_with('<')) {
      Refuse("an element is missing");
      return std::nullopt;
    }
    const size_t end = rest_.find('>');
    if (end == std::string_view::npos) return std::nullopt;
    auto inner = rest_.substr(1, end - 1);
    rest_.remove_prefix(end + 1);
    const bool isEmpty = inner.ends_with('/');
    if (isEmpty) inner.remove_suffix(1);
    const size_t nameEnd = std::min(inner.find_first_of(kBlanks), inner.size());
    if (inner.find_first_not_of(kBlanks, nameEnd) != std::string_view::npos) {
      Refuse("an element has attributes");
      return std::nullopt;
    }
    return Tag{inner.substr(0, nameEnd), isEmpty};
  }

  bool Close(std::string_view name) {
    if (rest_.empty()) return false;
    const size_t end = rest_.find('>');
    const bool matches = end != std::string_view::npos && rest_.starts_with("</") &&
                         rest_.substr(2).starts_with(name) &&
                         Trimmed(rest_.substr(2 + name.size(), end - 2 - name.size())).empty();
    if (!matches) return Refuse("an element is not closed");
    rest_.remove_prefix(end + 1);
    return true;
  }

  bool Container(const Tag& tag, size_t depth, bool (XmlChecker::*content)(size_t)) {
    if (depth >= kDeepestList) return Refuse("the list is nested too deeply");
    return tag.isEmpty || ((this->*content)(depth + 1) && Close(tag.name));
  }

  // Whether the closing tag of the container is next.
  bool AtEnd() const { return rest_.starts_with("</") || rest_.empty(); }

  bool Elements(size_t depth) {
    for (;;) {
      if (!SkipBetween()) return false;
      if (AtEnd()) return true;
      if (!Value(depth)) return false;
    }
  }

  bool Entries(size_t depth) {
    for (size_t keys = 0;; ++keys) {
      if (!SkipBetween()) return false;
      if (AtEnd()) return tally_.AddDictionary(keys) || Refuse("the dictionaries have too many keys");
      const auto tag = Open();
      if (!tag) return false;
      if (tag->name != "key" || tag->isEmpty) return Refuse("a value has no key");
      if (!Text() || !Close("key") || !SkipBetween()) return false;
      if (AtEnd()) return Refuse("a key has no value");
      if (!Value(depth)) return false;
    }
  }

  template <class Check>
  bool Scalar(const Tag& tag, Check check) {
    if (tag.isEmpty) return Refuse("a number or date is empty");
    const size_t end = rest_.find('<');
    if (end == std::string_view::npos) return false;
    if (!check(rest_.substr(0, end))) return Refuse("a number, date or data cannot be read");
    rest_.remove_prefix(end);
    return Close(tag.name);
  }

  // Characters, with sections in which nothing is markup.
  bool Text() {
    constexpr std::string_view kSection = "<![CDATA[";
    constexpr std::string_view kSectionEnd = "]]>";
    for (;;) {
      const size_t end = rest_.find('<');
      if (end == std::string_view::npos) return false;
      if (!HasOnlyKnownEntities(rest_.substr(0, end))) return Refuse("an entity is unknown");
      rest_.remove_prefix(end);
      if (!rest_.starts_with(kSection)) return true;
      const size_t sectionEnd = rest_.find(kSectionEnd, kSection.size());
      if (sectionEnd == std::string_view::npos) return false;
      rest_.remove_prefix(sectionEnd + kSectionEnd.size());
    }
  }

  bool Refuse(const char* reason) {
    reason_ = reason;
    return false;
  }

  std::string_view rest_;
  std::string reason_;
  ListTally tally_;
};

}  // namespace

std::string CheckXmlList(std::string_view text) { return XmlChecker(text).Run(); }

bool LooksLikeXml(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  constexpr std::array<std::string_view, 4> kStarts = {"<?xml", "<!DOCTYPE", "<!--", "<plist"};
  return std::ranges::any_of(kStarts, [text](std::string_view start) { return text.starts_with(start); });
}

}  // namespace platform::cf
