#include "tools/Profile.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <utility>

#include "common/StCFTypeRef.h"
#include "platform/MachineFacts.h"

namespace tools {

namespace {

void Add(ProfileSection& section, const char* key, const char* label, const std::string& text) {
  if (!text.empty()) section.facts.push_back({key, label, text});
}

void Add(ProfileSection& section, const char* key, const char* label, int64_t number) {
  if (number > 0) section.facts.push_back({key, label, "", number});
}

// "16 GB", "7.63 GB"; empty for 0.
std::string Gigabytes(int64_t bytes) {
  if (bytes <= 0) return {};
  char text[32];
  std::snprintf(text, sizeof text, "%.3g GB", static_cast<double>(bytes) / (1 << 30));
  return text;
}

// "up DAYS:HOURS:MINUTES:SECONDS"; empty for 0.
std::string Uptime(int64_t seconds) {
  if (seconds <= 0) return {};
  char text[64];
  std::snprintf(text, sizeof text, "up %" PRId64 ":%d:%d:%d", seconds / 86400,
                static_cast<int>(seconds / 3600 % 24), static_cast<int>(seconds / 60 % 60),
                static_cast<int>(seconds % 60));
  return text;
}

void AddHardware(ProfileSection& section, const std::string& root) {
  const platform::HardwareFacts facts = platform::ReadHardwareFacts(root);
  Add(section, "machine_model", "Model Identifier", facts.model);
  Add(section, "cpu_type", "Processor Name", facts.processor);
  Add(section, "number_processors", "Total Number of Cores", facts.processors);
  Add(section, "physical_memory", "Memory", Gigabytes(facts.memoryBytes));
  Add(section, "serial_number", "Serial Number (system)", facts.serialNumber);
  Add(section, "platform_UUID", "Hardware UUID", facts.uuid);
}

void AddSoftware(ProfileSection& section, const std::string& root) {
  const platform::SoftwareFacts facts = platform::ReadSoftwareFacts(root);
  Add(section, "os_version", "System Version", facts.system);
  Add(section, "kernel_version", "Kernel Version", facts.kernel);
  Add(section, "local_host_name", "Computer Name", facts.hostName);
  Add(section, "user_name", "User Name", facts.userName);
  Add(section, "uptime", "Time since boot", Uptime(facts.uptimeSeconds));
}

struct DataType {
  const char* name;
  const char* title;
  const char* item;
  void (*add)(ProfileSection&, const std::string& root);
};
constexpr std::array<DataType, 2> kDataTypes{
    {{"SPHardwareDataType", "Hardware", "hardware_overview", &AddHardware},
     {"SPSoftwareDataType", "Software", "os_overview", &AddSoftware}}};

using String = StCFTypeRef<CFStringRef>;

String MakeString(const std::string& utf8) {
  return String{CFStringCreateWithCString(kCFAllocatorDefault, utf8.c_str(), kCFStringEncodingUTF8)};
}

StCFTypeRef<CFTypeRef> MakeValue(const Fact& fact) {
  if (!fact.text.empty()) return StCFTypeRef<CFTypeRef>{MakeString(fact.text).Release()};
  return StCFTypeRef<CFTypeRef>{CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &fact.number)};
}

StCFTypeRef<CFMutableDictionaryRef> MakeDictionary() {
  return StCFTypeRef<CFMutableDictionaryRef>{CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks)};
}

StCFTypeRef<CFMutableArrayRef> MakeArray() {
  return StCFTypeRef<CFMutableArrayRef>{CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks)};
}

// A text that is not UTF-8 is left out.
void Set(CFMutableDictionaryRef dictionary, const char* key, CFTypeRef value) {
  if (value != nullptr) CFDictionarySetValue(dictionary, MakeString(key), value);
}

StCFTypeRef<CFMutableDictionaryRef> MakeSection(const ProfileSection& section) {
  auto items = MakeArray();
  if (*section.name != '\0') {
    const auto item = MakeDictionary();
    Set(item, "_name", MakeString(section.name));
    for (const Fact& fact : section.facts) Set(item, fact.key, MakeValue(fact));
    CFArrayAppendValue(items, item);
  }
  auto dictionary = MakeDictionary();
  Set(dictionary, "_dataType", MakeString(section.dataType));
  Set(dictionary, "_items", items);
  return dictionary;
}

}  // namespace

std::vector<std::string> KnownDataTypes() {
  std::vector<std::string> names;
  for (const DataType& type : kDataTypes) names.emplace_back(type.name);
  return names;
}

ProfileSection ReadSection(const std::string& dataType, const std::string& root) {
  for (const DataType& type : kDataTypes) {
    if (dataType != type.name) continue;
    ProfileSection section{dataType, type.title, type.item};
    type.add(section, root);
    return section;
  }
  return {dataType};
}

CFDataRef CreateProfileXml(const std::vector<ProfileSection>& sections) {
  const auto profile = MakeArray();
  for (const ProfileSection& section : sections) CFArrayAppendValue(profile, MakeSection(section));
  return CFPropertyListCreateData(kCFAllocatorDefault, profile, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
}

std::string ProfileText(const std::vector<ProfileSection>& sections) {
  std::string text;
  for (const ProfileSection& section : sections) {
    if (*section.name == '\0') continue;
    text += std::string(section.title) + ":\n\n";
    for (const Fact& fact : section.facts) {
      text += "    " + std::string(fact.label) + ": " +
              (fact.text.empty() ? std::to_string(fact.number) : fact.text) + "\n";
    }
    text += "\n";
  }
  return text;
}

}  // namespace tools
