#include "platform/corefoundation/Localizations.h"

#include <algorithm>
#include <array>
#include <utility>

namespace platform::cf {

namespace {

// Names of ".lproj" folders from before there were language codes, and countries that stand for a script.
constexpr std::array<std::pair<std::string_view, std::string_view>, 12> kCodes{{{"english", "en"},
                                                                                {"german", "de"},
                                                                                {"french", "fr"},
                                                                                {"spanish", "es"},
                                                                                {"italian", "it"},
                                                                                {"japanese", "ja"},
                                                                                {"dutch", "nl"},
                                                                                {"zh-cn", "zh-hans"},
                                                                                {"zh-sg", "zh-hans"},
                                                                                {"zh-tw", "zh-hant"},
                                                                                {"zh-hk", "zh-hant"},
                                                                                {"zh-mo", "zh-hant"}}};

bool IsRegionOf(std::string_view language, const std::string& wanted) {
  return language == wanted || language.starts_with(wanted + '-');
}

// Null when no available language is `wanted` or one of its regions.
const std::string* Find(const std::vector<std::string>& available, const std::string& wanted) {
  const auto same = std::find_if(available.begin(), available.end(),
                                 [&](const std::string& name) { return CanonicalLanguage(name) == wanted; });
  if (same != available.end()) return &*same;
  const auto region = std::find_if(available.begin(), available.end(), [&](const std::string& name) {
    return IsRegionOf(CanonicalLanguage(name), wanted);
  });
  return region != available.end() ? &*region : nullptr;
}

// The language itself, then without its last part, and so on.
const std::string* FindSuitable(const std::vector<std::string>& available, std::string wanted) {
  while (!wanted.empty()) {
    if (const std::string* found = Find(available, wanted)) return found;
    const size_t last = wanted.rfind('-');
    wanted.resize(last == std::string::npos ? 0 : last);
  }
  return nullptr;
}

}  // namespace

std::string CanonicalLanguage(std::string_view name) {
  std::string canonical(name);
  for (char& c : canonical) {
    if (c == '_') c = '-';
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  const auto code =
      std::find_if(kCodes.begin(), kCodes.end(), [&](const auto& entry) { return entry.first == canonical; });
  return code != kCodes.end() ? std::string(code->second) : canonical;
}

std::vector<std::string> SuitableLocalizations(const std::vector<std::string>& available,
                                               const std::vector<std::string>& preferred) {
  std::vector<std::string> suitable;
  for (const std::string& language : preferred) {
    const std::string* const found = FindSuitable(available, CanonicalLanguage(language));
    if (found != nullptr && std::find(suitable.begin(), suitable.end(), *found) == suitable.end())
      suitable.push_back(*found);
  }
  if (suitable.empty() && !available.empty()) {
    const std::string* const english = Find(available, "en");
    suitable.push_back(english != nullptr ? *english : available.front());
  }
  return suitable;
}

}  // namespace platform::cf
