// Settings as people read and type them.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <string>

#include "common/KCPrefsTable.h"
#include "common/StCFTypeRef.h"

namespace tools {

[[nodiscard]] std::string Utf8Of(CFStringRef text);
[[nodiscard]] StCFTypeRef<CFStringRef> StringOf(const std::string& text);

// "boolean", "16-bit number", ...
[[nodiscard]] const char* NameOfType(KCPrefType type);

// Whether the getter of such a setting takes `value`, which is not null. An empty text counts as missing.
[[nodiscard]] bool IsOfType(CFTypeRef value, KCPrefType type);

// The value alone: true, 1761, 2026-11-21T09:05:07Z, bytes in hexadecimal digits. "a dictionary" and the like
// for what has no such form; empty for null.
[[nodiscard]] std::string ShowValue(CFTypeRef value);

// What to store for a text that was typed in. Null when it is not of the type: `wanted` then says what would
// be, as "true or false". `noNegative`
// bounds a whole number further.
[[nodiscard]] StCFTypeRef<CFTypeRef> ParseValue(const std::string& text, KCPrefType type, bool noNegative,
                                                std::string& wanted);

}  // namespace tools
