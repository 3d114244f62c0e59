// Making the values that say why a call failed.
#pragma once
#include <CoreFoundation/CFError.h>

#include <string_view>

namespace platform::cf {

// Puts an error into `*error`, the caller's to release, unless `error` is null. `sentence` is for people, in
// ASCII.
void ReportError(CFErrorRef* error, std::string_view sentence);

}  // namespace platform::cf
