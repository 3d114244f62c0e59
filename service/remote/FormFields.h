// Reads single values out of what a browser sends: forms, queries and cookies.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace remote {

// The first field of that name in "name=value&name=value", decoded; nothing when there is none, or when its
// escapes make no sense.
[[nodiscard]] std::optional<std::string> FormField(std::string_view form, std::string_view name);

// The first cookie of that name in a `Cookie` header; empty when there is none.
[[nodiscard]] std::string_view CookieNamed(std::string_view header, std::string_view name);

// Whether a header that lists words, with commas between them, has that one.
[[nodiscard]] bool ListHas(std::string_view header, std::string_view word);

}  // namespace remote
