#include "observer/VersionRequest.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "observer/BuildDate.h"

namespace {

constexpr char kVersion[] = "10.1.10.480";
constexpr char kCopyright[] = "Copyright (c) Korvane. All rights reserved.";

// Major in bits 24-31, minor 20-23, patch 16-19, bit 15 for a release, build 0-14.
constexpr unsigned long kVersionNumber = 10UL << 24 | 1UL << 20 | 10UL << 16 | 1UL << 15 | 480UL;
static_assert(kVersionNumber == 169509344);

constexpr int kFullForm = -1;
constexpr size_t kPrefixLength = 2;  // of "-v"

}  // namespace

void ProcessVersionNumber(int argc, const char* const argv[], const char* name) {
  for (int i = 1; i < argc; ++i)
    if (std::strncmp(argv[i], "-v", kPrefixLength) == 0) HandleVersionRequest(argv[i], name);
}

void HandleVersionRequest(const char* argument, const char* name) {
  const char* const tail = argument + kPrefixLength;
  // NOLINTNEXTLINE(cert-err34-c): a tail that is no number is meant to be 0.
  print_application_version(*tail == '\0' ? kFullForm : std::atoi(tail), name);
  std::exit(0);
}

void print_application_version(int mode, const char* name) {
  std::printf("%s", get_application_version(mode, name));
  std::printf("\n");
}

const char* get_application_version(int mode, const char* name) {
  static char s_value[1024];
  const bool named = name != nullptr && *name != '\0';
  switch (mode) {
    case 2:
      std::snprintf(s_value, sizeof s_value, "%s", kVersion);
      break;
    case 1:
      std::snprintf(s_value, sizeof s_value, "%lu", kVersionNumber);
      break;
    case 0:
      std::snprintf(s_value, sizeof s_value, "10.1.10f480");
      break;
    default:
      std::snprintf(s_value, sizeof s_value, "%s%s%s\n%s\n%s", named ? name : "", named ? " " : "", kVersion,
                    kCopyright, kBuildDate);
      break;
  }
  return s_value;
}
