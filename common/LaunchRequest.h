// What a launch request is made of: the tokens of a command line, the secret, and the name of its sender.
//
// Any thread; nothing here throws.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>

#include "common/StCFTypeRef.h"
#include "platform/Handles.h"

// Where the dispatcher leaves its secret, a UUID's text without a line end; only root can read it.
inline constexpr char kDispatcherSecretFile[] = "/usr/local/Korvane/common/agentroot/broker/dispsec.txt";

// Appends the first token of `text` (UTF-8) to `token` and returns how many bytes it took, with the blank
// that ends it: 0 for an empty text. A blank ends a token unless it is escaped or quoted; either kind of
// quote opens, and ends with its like; a backslash escapes what follows and is dropped itself, even when it
// is escaped. Text that is not UTF-8 is taken and not appended.
size_t copyQuotedSectionFromString(const char* text, CFMutableStringRef token);

// The request for a command line: "command", "parameters" when there are any (two blanks in a row make an
// empty one), and `mode`, which may be null. Null when the command line is null or not UTF-8.
[[nodiscard]] StCFTypeRef<CFMutableDictionaryRef> CreateLaunchRequest(const char* commandLine,
                                                                      CFStringRef mode);

// Adds "secret". False for another caller than root, and without the dispatcher's file.
[[nodiscard]] bool AddSecurity(CFMutableDictionaryRef request);

// The text of a new UUID, which the caller frees.
[[nodiscard]] platform::MallocPtr<char> CreateGUID();
