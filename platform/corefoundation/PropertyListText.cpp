// A parser of one pass for property lists in text.
#include "platform/corefoundation/PropertyListText.h"

#include <CoreFoundation/CFData.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "platform/corefoundation/Array.h"
#include "platform/corefoundation/Dictionary.h"
#include "platform/corefoundation/PropertyListLimits.h"
#include "platform/corefoundation/String.h"
#include "platform/corefoundation/StringEncoding.h"

namespace platform::cf {

namespace {

int HexValue(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  const int letter = (unit | 0x20) - u'a';
  return letter >= 0 && letter < 6 ? letter + 10 : -1;
}

bool IsBlank(char16_t unit) {
  return (unit >= 0x09 && unit <= 0x0D) || unit == u' ' || unit == 0x2028 || unit == 0x2029;
}

bool IsWordUnit(char16_t unit) {
  constexpr std::u16string_view kWord =
      u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_$/:.-";
  return kWord.find(unit) != std::u16string_view::npos;
}

// A function that returns nothing, or false, has set the reason.
class TextParser {
 public:
  explicit TextParser(std::u16string_view text) : rest_(text) {}

  Kept Run() {
    if (!Skip()) return {};
    if (rest_.empty()) return MakeDictionary({});
    if (Next(u'{') || Next(u'(') || Next(u'<')) return Whole(Value(0));
    // One string is a list; with anything after it, it is the first key of a table.
    const auto all = rest_;
    const Kept string = Value(0);
    if (!string || !Skip()) return {};
    if (rest_.empty()) return string;
    rest_ = all;
    return Whole(Entries(1));
  }

  std::string TakeReason() { return std::move(reason_); }

 private:
  static Kept MakeDictionary(__CFDictionary::Entries entries) {
    return Kept::Adopt(new __CFDictionary(std::move(entries)));
  }

  Kept Whole(Kept value) {
    if (!value || !Skip()) return {};
    return rest_.empty() ? value : Refuse("there is text after the property list");
  }

  bool Next(char16_t unit) const { return rest_.starts_with(unit); }

  // Takes `unit` if it is next.
  bool Take(char16_t unit) {
    if (!Next(unit)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  // Blanks and comments.
  bool Skip() {
    for (;;) {
      while (!rest_.empty() && IsBlank(rest_.front())) rest_.remove_prefix(1);
      if (rest_.starts_with(u"//")) {
        rest_.remove_prefix(std::min(rest_.find_first_of(u"\n\r\u2028\u2029"), rest_.size()));
      } else if (rest_.starts_with(u"/*")) {
        const size_t end = rest_.find(u"*/", 2);
        if (end == std::u16string_view::npos) {
          reason_ = "a comment is not closed";
          return false;
        }
        rest_.remove_prefix(end + 2);
      } else {
        return true;
      }
    }
  }

  // One value, inside `depth` containers.
  Kept Value(size_t depth) {
    if (!tally_.Add(0)) return Refuse("the list holds too many values");
    const bool container = Next(u'{') || Next(u'(');
    if (container && depth >= kDeepestList) return Refuse("the list is nested too deeply");
    if (Take(u'{')) {
      Kept entries = Entries(depth + 1);
      return !entries || Take(u'}') ? entries : Refuse("a dictionary is not closed");
    }
    if (Take(u'(')) return Array(depth + 1);
    if (Take(u'<')) return Data();
    return String();
  }

  Kept Array(size_t depth) {
    std::vector<Kept> values;
    for (;;) {
      if (!Skip()) return {};
      if (Take(u')')) break;  // also after a comma
      values.push_back(Value(depth));
      if (!values.back() || !Skip()) return {};
      if (!Take(u',') && !Next(u')')) return Refuse("an array is not closed");
    }
    return Kept::Adopt(new __CFArray(std::move(values)));
  }

  // Up to a closing brace or the end. A key without a value is its own value; of equal keys the last counts.
  Kept Entries(size_t depth) {
    __CFDictionary::Entries entries;
    for (;;) {
      if (!Skip()) return {};
      if (rest_.empty() || Next(u'}')) {
        if (!tally_.AddDictionary(entries.size())) return Refuse("the dictionaries have too many keys");
        return MakeDictionary(std::move(entries));
      }
      if (!tally_.Add(0)) return Refuse("the list holds too many values");
      Kept key = String();
      if (!key || !Skip()) return {};
      Kept value = key;
      if (Take(u'=')) {
        if (!Skip()) return {};
        value = Value(depth);
        if (!value || !Skip()) return {};
      }
      if (!Take(u';')) return Refuse("a semicolon is missing");
      entries.erase(key);  // all keys are strings, which are equal when their order is
      entries.emplace(std::move(key), std::move(value));
    }
  }

  Kept Data() {
    std::vector<UInt8> bytes;
    for (;;) {
      if (!Skip()) return {};
      if (Take(u'>')) break;
      if (rest_.size() < 2 || HexValue(rest_[0]) < 0 || HexValue(rest_[1]) < 0) {
        return Refuse("data holds something else than pairs of hexadecimal digits");
      }
      bytes.push_back(static_cast<UInt8>(HexValue(rest_[0]) << 4 | HexValue(rest_[1])));
      rest_.remove_prefix(2);
    }
    return Kept::Adopt(CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
  }

  Kept String() {
    if (Next(u'"') || Next(u'\'')) return Quoted();
    const auto end = std::ranges::find_if_not(rest_, IsWordUnit);
    const auto word = rest_.substr(0, static_cast<size_t>(end - rest_.begin()));
    if (word.empty()) return Refuse(rest_.empty() ? "the text is cut off" : "a character is out of place");
    rest_.remove_prefix(word.size());
    return Kept::Adopt(CreateString(std::u16string(word)));
  }

  Kept Quoted() {
    const char16_t quote = rest_.front();
    rest_.remove_prefix(1);
    std::u16string text;
    for (;;) {
      if (rest_.empty()) return Refuse("a string is not closed");
      const char16_t unit = rest_.front();
      rest_.remove_prefix(1);
      if (unit == quote) break;
      if (unit != u'\\') {
        text += unit;
        continue;
      }
      const auto escaped = Escape();
      if (!escaped) return Refuse("an escape cannot be read");
      text += *escaped;
    }
    const bool whole = EncodedSize(text, kCFStringEncodingUTF8, 0, ByteOrderMark::kNone).units == text.size();
    if (!whole) return Refuse("a string holds half a character");
    return Kept::Adopt(CreateString(std::move(text)));
  }

  // What a backslash stands for with the characters behind it. Octal numbers reach as far as ASCII does.
  std::optional<char16_t> Escape() {
    constexpr std::u16string_view kLetters = u"abfnrtv";
    constexpr std::u16string_view kMeanings = u"\a\b\f\n\r\t\v";
    if (rest_.empty()) return std::nullopt;
    const char16_t unit = rest_.front();
    if (unit >= u'0' && unit <= u'7') return Number(3, 8);
    rest_.remove_prefix(1);
    if (unit == u'U') return Number(4, 16);
    const size_t letter = kLetters.find(unit);
    return letter == std::u16string_view::npos ? unit : kMeanings[letter];
  }

  // At most `digits` digits.
  std::optional<char16_t> Number(int digits, int base) {
    int value = 0;
    for (; digits > 0 && !rest_.empty(); --digits, rest_.remove_prefix(1)) {
      const int digit = HexValue(rest_.front());
      if (digit < 0 || digit >= base) break;
      value = value * base + digit;
    }
    if (value == 0 || (base == 8 && value > 0x7F)) return std::nullopt;
    return static_cast<char16_t>(value);
  }

  Kept Refuse(const char* reason) {
    reason_ = reason;
    return {};
  }

  std::u16string_view rest_;
  std::string reason_;
  ListTally tally_;
};

}  // namespace

Kept ReadTextList(std::u16string_view text, std::string& reason) {
  TextParser parser(text);
  Kept list = parser.Run();
  reason = parser.TakeReason();
  return list;
}

}  // namespace platform::cf
