// Which of the languages that a bundle has suit a reader.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace platform::cf {

// A language in one spelling: lower case, hyphens, codes in place of the names that older bundles use
// ("English" is "en", "zh_CN" is "zh-hans").
std::string CanonicalLanguage(std::string_view name);

// Those of `available` that suit `preferred`, best first, in their own spelling. A region falls back to its
// language ("de-CH" to "de") and a language takes any of its regions. English, else the first available one,
// when nothing suits.
std::vector<std::string> SuitableLocalizations(const std::vector<std::string>& available,
                                               const std::vector<std::string>& preferred);

}  // namespace platform::cf
