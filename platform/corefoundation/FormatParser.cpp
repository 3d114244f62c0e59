// Splits a format into literal text and conversions, and settles which arguments it takes, before any is
// read.
#include "platform/corefoundation/FormatParser.h"

#include <algorithm>
#include <utility>

namespace platform::cf {

namespace {

constexpr int kLargestNumber = 1'000'000'000;  // larger ones count as this

std::optional<ArgumentKind> KindOf(const Conversion& conversion) {
  switch (conversion.letter) {
    case u'd':
    case u'i':
    case u'o':
    case u'u':
    case u'x':
    case u'X': {
      const bool wide =
          conversion.length == LengthModifier::kWide || conversion.length == LengthModifier::kLongDouble;
      return wide ? ArgumentKind::kWide : ArgumentKind::kInt;
    }
    case u'D':
    case u'O':
    case u'U':
      return ArgumentKind::kWide;
    case u'a':
    case u'A':
    case u'e':
    case u'E':
    case u'f':
    case u'F':
    case u'g':
    case u'G':
      return conversion.length == LengthModifier::kLongDouble ? ArgumentKind::kLongDouble
                                                              : ArgumentKind::kDouble;
    case u'c':
    case u'C':
      return ArgumentKind::kInt;
    case u's':
    case u'S':
    case u'p':
    case u'n':
    case u'@':
      return ArgumentKind::kPointer;
    case u'%':
      return ArgumentKind::kNone;
    default:
      return std::nullopt;
  }
}

// Reads one conversion, the text behind its '%'.
class ConversionReader {
 public:
  ConversionReader(std::u16string_view text, size_t nextArgument) : text_(text), next_(nextArgument) {}

  struct Claim {
    size_t argument;
    ArgumentKind kind;
  };

  // Nothing when the text is no conversion.
  [[nodiscard]] std::optional<Conversion> Read() {
    Conversion conversion;
    const auto position = ReadPosition();
    ReadFlags(conversion);
    conversion.width = ReadSize();
    if (Take(u'.')) {
      conversion.precision = ReadSize();
      if (!conversion.precision.argument && !conversion.precision.fixed) conversion.precision.fixed = 0;
    }
    conversion.length = ReadLength();
    if (at_ == text_.size()) return std::nullopt;
    conversion.letter = text_[at_++];
    const auto kind = KindOf(conversion);
    if (!kind) return std::nullopt;
    if (*kind != ArgumentKind::kNone) conversion.argument = AddClaim(position, *kind);
    return conversion;
  }

  // How much of the text was read, also when it is no conversion.
  [[nodiscard]] size_t Consumed() const { return at_; }
  [[nodiscard]] size_t NextArgument() const { return next_; }
  [[nodiscard]] const std::vector<Claim>& Claims() const { return claims_; }

 private:
  bool Take(char16_t wanted) {
    if (at_ == text_.size() || text_[at_] != wanted) return false;
    ++at_;
    return true;
  }

  std::optional<int> ReadNumber() {
    std::optional<int> number;
    for (; at_ < text_.size() && text_[at_] >= u'0' && text_[at_] <= u'9'; ++at_) {
      const long long grown = number.value_or(0) * 10LL + (text_[at_] - u'0');
      number = static_cast<int>(std::min<long long>(grown, kLargestNumber));
    }
    return number;
  }

  // "n$", 1-based in the text. 0 becomes the largest index, which no format reaches.
  std::optional<size_t> ReadPosition() {
    const size_t start = at_;
    const auto number = ReadNumber();
    if (!number || !Take(u'$')) {
      at_ = start;
      return std::nullopt;
    }
    return static_cast<size_t>(*number) - 1;
  }

  void ReadFlags(Conversion& conversion) {
    for (; at_ < text_.size(); ++at_) {
      switch (text_[at_]) {
        case u'-':
          conversion.leftAligned = true;
          break;
        case u'+':
          conversion.plus = true;
          break;
        case u' ':
          conversion.space = true;
          break;
        case u'#':
          conversion.alternate = true;
          break;
        case u'0':
          conversion.zeroPadded = true;
          break;
        case u'\'':  // grouping, of which the neutral locale has none
          break;
        default:
          return;
      }
    }
  }

  FieldSize ReadSize() {
    FieldSize size;
    if (Take(u'*')) {
      const auto position = ReadPosition();
      size.argument = AddClaim(position, ArgumentKind::kInt);
    } else {
      size.fixed = ReadNumber();
    }
    return size;
  }

  LengthModifier ReadLength() {
    if (Take(u'h')) return Take(u'h') ? LengthModifier::kChar : LengthModifier::kShort;
    if (Take(u'L')) return LengthModifier::kLongDouble;
    if (Take(u'l')) {
      Take(u'l');
      return LengthModifier::kWide;
    }
    for (const char16_t wide : {u'q', u'z', u't', u'j'}) {
      if (Take(wide)) return LengthModifier::kWide;
    }
    return LengthModifier::kNone;
  }

  size_t AddClaim(std::optional<size_t> position, ArgumentKind kind) {
    const size_t argument = position ? *position : next_++;
    claims_.push_back({argument, kind});
    return argument;
  }

  std::u16string_view text_;
  size_t at_ = 0;
  size_t next_;
  std::vector<Claim> claims_;
};

class Parser {
 public:
  explicit Parser(std::u16string_view format) : format_(format) {}

  ParsedFormat Parse() {
    size_t at = 0;
    while (at < format_.size()) {
      const size_t percent = std::min(format_.find(u'%', at), format_.size());
      if (percent > at) AddLiteral(at, percent);
      if (percent == format_.size()) break;
      at = ParseConversion(percent);
    }
    TurnUnreachableIntoText();
    return std::move(parsed_);
  }

 private:
  void AddLiteral(size_t begin, size_t end) {
    parsed_.pieces.emplace_back(format_.substr(begin, end - begin));
    sources_.emplace_back();
  }

  // Returns where the text goes on.
  size_t ParseConversion(size_t percent) {
    ConversionReader reader(format_.substr(percent + 1), next_);
    const auto conversion = reader.Read();
    const size_t end = percent + 1 + reader.Consumed();
    if (!conversion || !Accept(reader.Claims())) {
      AddLiteral(percent, end);
      return end;
    }
    next_ = reader.NextArgument();
    size_t beyond = 0;
    for (const auto& claim : reader.Claims()) beyond = std::max(beyond, claim.argument + 1);
    parsed_.pieces.emplace_back(*conversion);
    sources_.push_back({format_.substr(percent, end - percent), beyond});
    return end;
  }

  // All of a conversion's claims or none.
  bool Accept(const std::vector<ConversionReader::Claim>& claims) {
    auto& kinds = parsed_.arguments;
    for (const auto& claim : claims) {
      // Without a gap there are fewer arguments than characters, so a larger position lies beyond one.
      if (claim.argument >= format_.size()) return false;
      const bool known = claim.argument < kinds.size() && kinds[claim.argument] != ArgumentKind::kNone;
      if (known && kinds[claim.argument] != claim.kind) return false;
      const auto contradicts = [&](const auto& other) {
        return other.argument == claim.argument && other.kind != claim.kind;
      };
      if (std::ranges::any_of(claims, contradicts)) return false;
    }
    for (const auto& [argument, kind] : claims) {
      if (argument >= kinds.size()) kinds.resize(argument + 1, ArgumentKind::kNone);
      kinds[argument] = kind;
    }
    return true;
  }

  void TurnUnreachableIntoText() {
    auto& kinds = parsed_.arguments;
    kinds.erase(std::ranges::find(kinds, ArgumentKind::kNone), kinds.end());
    for (size_t i = 0; i < sources_.size(); ++i) {
      if (sources_[i].argumentsNeeded > kinds.size()) parsed_.pieces[i] = sources_[i].text;
    }
  }

  // Of a piece that is a conversion: its text, and how many arguments it reaches over.
  struct Source {
    std::u16string_view text;
    size_t argumentsNeeded = 0;
  };

  std::u16string_view format_;
  size_t next_ = 0;
  ParsedFormat parsed_;
  std::vector<Source> sources_;  // one for each piece
};

}  // namespace

ParsedFormat ParseFormat(std::u16string_view format) { return Parser(format).Parse(); }

}  // namespace platform::cf
