#include "service/dispatch/OutputText.h"

#include <algorithm>

namespace service {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

enum class Character { kWhole, kWrong, kCut };

// Looks at the character at the front of `bytes`, which are not empty: how many bytes it has, or as many as
// are of one that is wrong or cut short (The Unicode Standard, table 3-7: well-formed byte sequences).
Character LookAt(std::string_view bytes, size_t& length) {
  const auto byte = [&](size_t index) { return static_cast<unsigned char>(bytes[index]); };
  length = 1;
  const unsigned first = byte(0);
  if (first == 0) return Character::kWrong;
  if (first < 0x80) return Character::kWhole;
  if (first < 0xC2 || first > 0xF4) return Character::kWrong;
  const size_t needed = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;

  unsigned lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  unsigned highest = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  for (; length < needed; ++length) {
    if (length == bytes.size()) return Character::kCut;
    if (byte(length) < lowest || byte(length) > highest) return Character::kWrong;
    lowest = 0x80;
    highest = 0xBF;
  }
  return Character::kWhole;
}

// How many of the bytes are no beginning of a character that goes on behind them.
size_t WithoutCutCharacter(std::string_view bytes) {
  constexpr size_t kLongestCut = 3;
  for (size_t back = 1; back <= std::min(kLongestCut, bytes.size()); ++back) {
    size_t length = 0;
    if (LookAt(bytes.substr(bytes.size() - back), length) == Character::kCut && length == back)
      return bytes.size() - back;
  }
  return bytes.size();
}

std::string ToUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (size_t length = 0; !bytes.empty(); bytes.remove_prefix(length)) {
    const Character found = LookAt(bytes, length);
    text += found == Character::kWhole ? bytes.substr(0, length) : kReplacement;
  }
  return text;
}

}  // namespace

void OutputText::Append(std::string_view bytes) {
  bytes_.erase(0, taken_);
  taken_ = 0;
  bytes_ += bytes;
}

std::optional<std::string> OutputText::Next() {
  const std::string_view waiting = Waiting();
  if (wholeLines_) {
    const size_t end = waiting.substr(0, kMaxPieceBytes + 1).find('\n');
    if (end != std::string_view::npos) {
      std::string line = Take(end);
      ++taken_;  // the line's end
      return line;
    }
    if (waiting.size() <= kMaxPieceBytes && !finished_) return std::nullopt;
  }
  std::string_view piece = waiting.substr(0, kMaxPieceBytes);
  if (!finished_ || piece.size() < waiting.size()) piece = piece.substr(0, WithoutCutCharacter(piece));
  if (piece.empty()) return std::nullopt;
  return Take(piece.size());
}

std::string OutputText::Take(size_t length) {
  std::string text = ToUtf8(Waiting().substr(0, length));
  taken_ += length;
  return text;
}

}  // namespace service
