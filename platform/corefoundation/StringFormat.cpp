// CFStringCreateWithFormat: reads the arguments that a parsed format names and shows them.
#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/corefoundation/FormatParser.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"
#include "platform/corefoundation/StringEncoding.h"

namespace platform::cf {

namespace {

static_assert(sizeof(long) == sizeof(long long) && sizeof(size_t) == sizeof(long long),
              "every wide length modifier names a type of one size");

// Wider fields and more digits are cut to this, so that a format cannot ask for gigabytes.
constexpr int kLargestField = 65535;

union Argument {
  long long integer;
  double real;
  long double longReal;
  const void* pointer;
};

std::vector<Argument> ReadArguments(const std::vector<ArgumentKind>& kinds, va_list list) {
  std::vector<Argument> arguments(kinds.size());
  for (size_t i = 0; i < kinds.size(); ++i) {
    switch (kinds[i]) {
      case ArgumentKind::kInt:
        arguments[i].integer = va_arg(list, int);
        break;
      case ArgumentKind::kWide:
        arguments[i].integer = va_arg(list, long long);
        break;
      case ArgumentKind::kDouble:
        arguments[i].real = va_arg(list, double);
        break;
      case ArgumentKind::kLongDouble:
        arguments[i].longReal = va_arg(list, long double);
        break;
      case ArgumentKind::kPointer:
        arguments[i].pointer = va_arg(list, const void*);
        break;
      case ArgumentKind::kNone:
        break;
    }
  }
  return arguments;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
// `format` takes width, precision and one value of type T.
template <class T>
std::u16string Print(const std::string& format, int width, int precision, T value) {
  const int length = std::snprintf(nullptr, 0, format.c_str(), width, precision, value);
  if (length < 0) return {};
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::snprintf(text.data(), text.size(), format.c_str(), width, precision, value);
  text.pop_back();
  return Widen(text);
}
#pragma GCC diagnostic pop

long long Signed(long long value, LengthModifier length) {
  if (length == LengthModifier::kChar) return static_cast<signed char>(value);
  if (length == LengthModifier::kShort) return static_cast<short>(value);
  return value;
}

unsigned long long Unsigned(long long value, LengthModifier length, bool wide) {
  if (length == LengthModifier::kChar) return static_cast<unsigned char>(value);
  if (length == LengthModifier::kShort) return static_cast<unsigned short>(value);
  return wide ? static_cast<unsigned long long>(value) : static_cast<unsigned int>(value);
}

// Text behind a pointer, up to its terminator or `limit` characters.
template <class Unit>
std::basic_string_view<Unit> BoundedText(const Unit* text, size_t limit) {
  size_t length = 0;
  while (length < limit && text[length] != 0) ++length;
  return {text, length};
}

class Formatter {
 public:
  Formatter(const ParsedFormat& format, std::span<const Argument> arguments)
      : format_(format), arguments_(arguments) {}

  std::u16string Run() {
    for (const auto& piece : format_.pieces) {
      if (const auto* literal = std::get_if<std::u16string_view>(&piece)) {
        text_ += *literal;
      } else {
        Show(std::get<Conversion>(piece));
      }
    }
    return std::move(text_);
  }

 private:
  void Show(const Conversion& conversion) {
    switch (conversion.letter) {
      case u'%':
        text_ += u'%';
        break;
      case u'd':
      case u'i':
      case u'D':
        ShowNumber(conversion, "lld", Signed(Value(conversion).integer, conversion.length));
        break;
      case u'o':
      case u'O':
        ShowUnsigned(conversion, "llo");
        break;
      case u'u':
      case u'U':
        ShowUnsigned(conversion, "llu");
        break;
      case u'x':
        ShowUnsigned(conversion, "llx");
        break;
      case u'X':
        ShowUnsigned(conversion, "llX");
        break;
      case u'c':
      case u'C':
        ShowCharacter(conversion);
        break;
      case u's':
      case u'S':
        ShowPadded(conversion, TextOfPointer(conversion));
        break;
      case u'@':
        ShowPadded(conversion, TextOfValue(conversion));
        break;
      case u'p':
        ShowPointer(conversion);
        break;
      case u'n':  // writing into memory that a format names is refused; the argument is passed over
        break;
      default:
        ShowReal(conversion);
        break;
    }
  }

  [[nodiscard]] const Argument& Value(const Conversion& conversion) const {
    return arguments_[conversion.argument];
  }

  // Negative when it is left-aligned by a negative argument.
  [[nodiscard]] int Width(const Conversion& conversion) const {
    return std::clamp(Size(conversion.width).value_or(0), -kLargestField, kLargestField);
  }

  // As written: nothing when there is none or its argument is negative.
  [[nodiscard]] std::optional<int> Precision(const Conversion& conversion) const {
    const auto precision = Size(conversion.precision);
    return precision && *precision >= 0 ? precision : std::nullopt;
  }

  [[nodiscard]] std::optional<int> Size(const FieldSize& size) const {
    if (size.argument) return static_cast<int>(arguments_[*size.argument].integer);
    return size.fixed;
  }

  template <class T>
  void ShowNumber(const Conversion& conversion, const char* letters, T value) {
    std::string format = "%";
    if (conversion.leftAligned) format += '-';
    if (conversion.plus) format += '+';
    if (conversion.space) format += ' ';
    if (conversion.alternate) format += '#';
    if (conversion.zeroPadded) format += '0';
    format += "*.*";
    format += letters;
    const auto precision = Precision(conversion);
    text_ += Print(format, Width(conversion), precision ? std::min(*precision, kLargestField) : -1, value);
  }

  void ShowUnsigned(const Conversion& conversion, const char* letters) {
    const bool wide = format_.arguments[conversion.argument] == ArgumentKind::kWide;
    ShowNumber(conversion, letters, Unsigned(Value(conversion).integer, conversion.length, wide));
  }

  void ShowReal(const Conversion& conversion) {
    const char letter = static_cast<char>(conversion.letter);
    if (conversion.length == LengthModifier::kLongDouble) {
      ShowNumber(conversion, std::string{'L', letter}.c_str(), Value(conversion).longReal);
    } else {
      ShowNumber(conversion, std::string{letter}.c_str(), Value(conversion).real);
    }
  }

  void ShowCharacter(const Conversion& conversion) {
    const long long value = Value(conversion).integer;
    if (IsWideText(conversion)) {
      Pad(conversion, std::u16string(1, static_cast<char16_t>(value)));
    } else if (const char byte = static_cast<char>(value); byte != '\0') {
      Pad(conversion, DecodeSystem({&byte, 1}));
    }
  }

  void ShowPointer(const Conversion& conversion) {
    char digits[2 + 2 * sizeof(void*) + 1];
    std::snprintf(digits, sizeof digits, "0x%zx", reinterpret_cast<size_t>(Value(conversion).pointer));
    Pad(conversion, Widen(digits));
  }

  static bool IsWideText(const Conversion& conversion) {
    return conversion.letter == u'S' || conversion.letter == u'C' ||
           conversion.length == LengthModifier::kWide;
  }

  // Of "%s" and "%S". With a precision the text needs no terminator.
  [[nodiscard]] std::u16string TextOfPointer(const Conversion& conversion) const {
    const void* const pointer = Value(conversion).pointer;
    if (pointer == nullptr) return u"(null)";
    const auto precision = Precision(conversion);
    const size_t limit = precision ? static_cast<size_t>(*precision) : std::u16string::npos;
    if (!IsWideText(conversion)) return DecodeSystem(BoundedText(static_cast<const char*>(pointer), limit));
    return std::u16string(BoundedText(static_cast<const char16_t*>(pointer), limit));
  }

  [[nodiscard]] std::u16string TextOfValue(const Conversion& conversion) const {
    const Object* const object = AsObject(Value(conversion).pointer);
    return object == nullptr ? u"(null)" : object->Text();
  }

  void ShowPadded(const Conversion& conversion, std::u16string text) {
    const auto precision = Precision(conversion);
    if (precision && text.size() > static_cast<size_t>(*precision)) {
      text.resize(static_cast<size_t>(*precision));
    }
    Pad(conversion, text);
  }

  void Pad(const Conversion& conversion, const std::u16string& text) {
    const int width = Width(conversion);
    const auto wanted = static_cast<size_t>(width < 0 ? -width : width);
    const size_t padding = wanted > text.size() ? wanted - text.size() : 0;
    const bool left = conversion.leftAligned || width < 0;
    if (!left) text_.append(padding, u' ');
    text_ += text;
    if (left) text_.append(padding, u' ');
  }

  const ParsedFormat& format_;
  std::span<const Argument> arguments_;
  std::u16string text_;
};

}  // namespace

}  // namespace platform::cf

extern "C" {

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef, CFStringRef format,
                                                 va_list arguments) {
  if (format == nullptr) return nullptr;
  const auto parsed = platform::cf::ParseFormat(format->units);
  va_list unread;
  va_copy(unread, arguments);
  const auto values = platform::cf::ReadArguments(parsed.arguments, unread);
  va_end(unread);
  return platform::cf::CreateString(platform::cf::Formatter(parsed, values).Run());
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef allocator, CFDictionaryRef options, CFStringRef format,
                                     ...) {
  va_list arguments;
  va_start(arguments, format);
  const CFStringRef made = CFStringCreateWithFormatAndArguments(allocator, options, format, arguments);
  va_end(arguments);
  return made;
}

}  // extern "C"
