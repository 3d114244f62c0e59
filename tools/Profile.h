// The system profile: what is known of the machine and its system, by data type, as a property list and as
// text.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tools {

// One fact: its key in the property list, what people call it, and its value. Only known facts are kept.
struct Fact {
  const char* key;
  const char* label;
  std::string text;
  int64_t number = 0;  // the value when there is no text
};

// What there is of one data type.
struct ProfileSection {
  std::string dataType;
  const char* title = "";  // for people
  const char* name = "";   // of the one item; empty when the data type is not known, which then has no item
  std::vector<Fact> facts = {};
};

// The data types that are known, in the order in which they are shown.
[[nodiscard]] std::vector<std::string> KnownDataTypes();

// Asks the machine whose files lie under `root`.
[[nodiscard]] ProfileSection ReadSection(const std::string& dataType, const std::string& root);

// An array of one dictionary a section: "_dataType" and "_items", an array of one dictionary with the facts.
// The caller releases.
[[nodiscard]] CFDataRef CreateProfileXml(const std::vector<ProfileSection>& sections);
[[nodiscard]] std::string ProfileText(const std::vector<ProfileSection>& sections);

}  // namespace tools
