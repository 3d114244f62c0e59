// Prints the system profile, for people or, with -xml, for programs.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "common/StCFTypeRef.h"
#include "tools/Profile.h"

namespace {

constexpr char kHelp[] =
    R"(kvprofiler - says what is known of this machine and its system

  kvprofiler [-xml] [DATATYPE...]

Data types
  SPHardwareDataType   model, processors, memory, serial number, identifier
  SPSoftwareDataType   system, kernel, host and user name, time since the start

Without a data type it shows all of them. What is not known, or not for this user to read, is left out.

Options
  -xml     a property list: an array with a dictionary for each data type, in which "_items" holds the facts
  --help   this text

The identifier ("platform_UUID") is the firmware's where it has one and this user may read it, which as a rule
root alone may; else it is made from the system's own machine identifier. Both stay the same over restarts.

Exit status
  0   done
  1   the arguments make no sense, or name an unknown data type, which has no items
  2   the profile could not be printed
)";

enum ExitCode : int { kDone = 0, kUsage = 1, kNotPrinted = 2 };

struct Options {
  bool xml = false;
  std::vector<std::string> dataTypes;
};

bool Print(const char* bytes, size_t size) {
  return std::fwrite(bytes, 1, size, stdout) == size && std::fflush(stdout) == 0;
}

bool PrintXml(const std::vector<tools::ProfileSection>& sections) {
  const StCFTypeRef<CFDataRef> xml{tools::CreateProfileXml(sections)};
  return xml != nullptr && Print(reinterpret_cast<const char*>(CFDataGetBytePtr(xml)),
                                 static_cast<size_t>(CFDataGetLength(xml)));
}

bool PrintText(const std::vector<tools::ProfileSection>& sections) {
  const std::string text = tools::ProfileText(sections);
  return Print(text.data(), text.size());
}

int PrintProfile(const Options& options) {
  const std::vector<std::string> known = tools::KnownDataTypes();
  ExitCode status = kDone;
  std::vector<tools::ProfileSection> sections;
  for (const std::string& dataType : options.dataTypes.empty() ? known : options.dataTypes) {
    if (std::find(known.begin(), known.end(), dataType) == known.end()) {
      std::fprintf(stderr, "kvprofiler: unknown data type '%s'; see kvprofiler --help\n", dataType.c_str());
      status = kUsage;
    }
    sections.push_back(tools::ReadSection(dataType, "/"));
  }
  if (options.xml ? PrintXml(sections) : PrintText(sections)) return status;
  std::fprintf(stderr, "kvprofiler: cannot print the profile\n");
  return kNotPrinted;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--help") == 0) {
      return Print(kHelp, sizeof kHelp - 1) ? kDone : kNotPrinted;
    }
    if (std::strcmp(argv[i], "-xml") == 0) {
      options.xml = true;
    } else if (argv[i][0] == '-') {
      std::fprintf(stderr, "kvprofiler: unknown option '%s'; see kvprofiler --help\n", argv[i]);
      return kUsage;
    } else {
      options.dataTypes.emplace_back(argv[i]);
    }
  }
  return PrintProfile(options);
}
