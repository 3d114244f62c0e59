// Whether the text of an XML property list is one.
#pragma once
#include <string>
#include <string_view>

namespace platform::cf {

// Empty when every part of `text`, valid UTF-8 without NUL, has a meaning as a property list and the whole is
// within the limits; else the reason.
//
// The library that reads it takes "12x" for 12, guesses at dates and knows no limits. What passes here it
// reads as it is written.
[[nodiscard]] std::string CheckXmlList(std::string_view text);

// Whether text begins as an XML list does.
[[nodiscard]] bool LooksLikeXml(std::string_view text);

}  // namespace platform::cf
