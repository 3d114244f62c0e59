// Splits a format into literal text and conversions, and settles which arguments it takes, before any is
// read.
#pragma once
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

namespace platform::cf {

// How an argument lies in the caller's list.
enum class ArgumentKind { kNone, kInt, kWide, kDouble, kLongDouble, kPointer };

enum class LengthModifier { kNone, kChar, kShort, kWide, kLongDouble };

// A width or precision: absent, a number, or the index of the argument that holds it.
struct FieldSize {
  std::optional<int> fixed;
  std::optional<size_t> argument;
};

struct Conversion {
  char16_t letter = 0;  // of '%', '@', 'd', ...
  LengthModifier length = LengthModifier::kNone;
  bool leftAligned = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  bool zeroPadded = false;
  FieldSize width;
  FieldSize precision;
  size_t argument = 0;  // 0-based; unused for '%'
};

struct ParsedFormat {
  // A view into the format, or a conversion.
  using Piece = std::variant<std::u16string_view, Conversion>;

  std::vector<Piece> pieces;
  // What the caller's list holds, from its start and without a gap.
  std::vector<ArgumentKind> arguments;
};

// A conversion that is incomplete or unknown, whose argument another one takes as something else, or that
// would skip arguments whose kind no conversion tells (only positions can), takes no argument and stays in
// the text as it is written.
[[nodiscard]] ParsedFormat ParseFormat(std::u16string_view format);

}  // namespace platform::cf
