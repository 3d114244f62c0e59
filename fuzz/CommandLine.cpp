// Any command line: its tokens take all of it, hold no backslash, and make no more of it than there was.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "common/LaunchRequest.h"

namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string line(reinterpret_cast<const char*>(data), size);
  const char* rest = line.c_str();
  const size_t length = std::string(rest).size();
  CFIndex tokens = 0;
  CFIndex units = 0;
  size_t taken = 0;
  for (;; ++tokens) {
    const StCFTypeRef<CFMutableStringRef> token(CFStringCreateMutable(kCFAllocatorDefault, 0));
    const size_t used = copyQuotedSectionFromString(rest, token);
    if (used == 0) break;
    Check(CFStringFind(token, CFSTR("\\"), 0).location == kCFNotFound);
    units += CFStringGetLength(token);
    taken += used;
    rest += used;
  }
  Check(taken == length && *rest == '\0' && units <= static_cast<CFIndex>(length));

  const StCFTypeRef<CFMutableDictionaryRef> request = CreateLaunchRequest(line.c_str(), nullptr);
  if (request.get() == nullptr) return 0;
  const auto parameters = static_cast<CFArrayRef>(CFDictionaryGetValue(request, CFSTR("parameters")));
  Check((parameters == nullptr ? 0 : CFArrayGetCount(parameters)) == (tokens > 0 ? tokens - 1 : 0));
  return 0;
}
