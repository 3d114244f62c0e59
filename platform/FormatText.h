// printf into a string of whatever length it takes.
#pragma once
#include <cstdarg>
#include <cstdio>
#include <string>

namespace platform {

// Empty when the format cannot be shown. `arguments` is used up.
__attribute__((format(printf, 1, 0))) inline std::string FormatText(const char* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (length < 0) return {};
  std::string text(static_cast<size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  return text;
}

}  // namespace platform
