// Finding one text in another, with and without regard to case.
#pragma once
#include <CoreFoundation/CFString.h>

#include <string_view>

namespace platform::cf {

// Where `needle` begins in `text` at or after `from`; npos when it does not, as for an empty needle.
[[nodiscard]] size_t FindText(std::u16string_view text, std::u16string_view needle, size_t from,
                              CFOptionFlags options);

// The simple mapping of the Unicode tables, the same in every locale.
[[nodiscard]] std::u16string Lowercase(std::u16string_view text);

}  // namespace platform::cf
