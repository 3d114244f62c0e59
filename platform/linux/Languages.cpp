// The user's languages, from the environment's locale names.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/System.h"

namespace platform {

namespace {

// Nothing for a name that is no language: empty, "C", "POSIX".
std::string LanguageOf(std::string_view localeName) {
  std::string language(localeName.substr(0, localeName.find_first_of(".@")));
  if (language.empty() || language == "C" || language == "POSIX") return {};
  std::replace(language.begin(), language.end(), '_', '-');
  // Locale names tell the two ways to write Chinese by the country.
  constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kScripts{{{"zh-CN", "zh-Hans-CN"},
                                                                                   {"zh-SG", "zh-Hans-SG"},
                                                                                   {"zh-TW", "zh-Hant-TW"},
                                                                                   {"zh-HK", "zh-Hant-HK"},
                                                                                   {"zh-MO", "zh-Hant-MO"},
                                                                                   {"zh", "zh-Hans"}}};
  const auto script = std::find_if(kScripts.begin(), kScripts.end(),
                                   [&](const auto& entry) { return entry.first == language; });
  return script != kScripts.end() ? std::string(script->second) : language;
}

const char* Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

}  // namespace

std::vector<std::string> PreferredLanguages() {
  const char* wanted = nullptr;
  for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"})
    if (wanted == nullptr) wanted = Variable(name);

  std::vector<std::string> languages;
  std::string_view rest = wanted != nullptr ? wanted : "";
  while (!rest.empty()) {
    const size_t end = std::min(rest.find(':'), rest.size());
    std::string language = LanguageOf(rest.substr(0, end));
    if (!language.empty()) languages.push_back(std::move(language));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return languages;
}

}  // namespace platform
