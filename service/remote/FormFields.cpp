#include "service/remote/FormFields.h"

#include <charconv>

namespace remote {

namespace {

constexpr std::string_view kBlanks = " \t";

std::string_view Trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(kBlanks);
  return first == text.npos ? std::string_view()
                            : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Takes the piece before the next separator off the front of `rest`.
std::string_view TakePiece(std::string_view& rest, char separator) {
  const std::string_view piece = rest.substr(0, rest.find(separator));
  rest.remove_prefix(piece.size() < rest.size() ? piece.size() + 1 : piece.size());
  return piece;
}

std::optional<std::string> Decoded(std::string_view text) {
  std::string decoded;
  while (!text.empty()) {
    size_t taken = 1;
    char c = text[0] == '+' ? ' ' : text[0];
    if (text[0] == '%') {
      if (text.size() < 3) return std::nullopt;
      unsigned char byte = 0;
      const char* const end = text.data() + 3;
      if (std::from_chars(text.data() + 1, end, byte, 16).ptr != end) return std::nullopt;
      c = static_cast<char>(byte);
      taken = 3;
    }
    decoded += c;
    text.remove_prefix(taken);
  }
  return decoded;
}

}  // namespace

std::optional<std::string> FormField(std::string_view form, std::string_view name) {
  while (!form.empty()) {
    const std::string_view field = TakePiece(form, '&');
    if (field.starts_with(name) && field.substr(name.size()).starts_with('='))
      return Decoded(field.substr(name.size() + 1));
  }
  return std::nullopt;
}

std::string_view CookieNamed(std::string_view header, std::string_view name) {
  while (!header.empty()) {
    const std::string_view cookie = Trimmed(TakePiece(header, ';'));
    if (cookie.starts_with(name) && cookie.substr(name.size()).starts_with('='))
      return cookie.substr(name.size() + 1);
  }
  return {};
}

bool ListHas(std::string_view header, std::string_view word) {
  while (!header.empty()) {
    if (Trimmed(TakePiece(header, ',')) == word) return true;
  }
  return false;
}

}  // namespace remote
