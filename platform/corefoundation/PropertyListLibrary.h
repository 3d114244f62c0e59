// Property lists in XML and binary by libplist.
#pragma once
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFPropertyList.h>

#include <span>
#include <string>
#include <string_view>

#include "platform/corefoundation/Object.h"

namespace platform::cf {

// Both are for what has been checked; empty when the library refuses it all the same.
[[nodiscard]] Kept ReadXmlList(std::string_view text);
[[nodiscard]] Kept ReadBinaryList(std::span<const uint8_t> bytes);

// The caller's to release; null, with `reason` set, for what a list cannot hold. `format` is XML or binary.
[[nodiscard]] CFDataRef WriteList(CFTypeRef value, CFPropertyListFormat format, std::string& reason);

}  // namespace platform::cf
