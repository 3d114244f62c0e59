// Reads property lists that are plain text: the old style, and tables of strings.
#pragma once
#include <string>
#include <string_view>

#include "platform/corefoundation/Object.h"

namespace platform::cf {

// A string, (an, array), {a = dictionary;} or <data>; or a dictionary's entries without the braces, as files
// of localised strings hold them. Comments as in C stand between any two parts. Empty, with `reason` set, for
// everything else. Text without anything is an empty dictionary.
[[nodiscard]] Kept ReadTextList(std::u16string_view text, std::string& reason);

}  // namespace platform::cf
