// Reads what the dispatcher answers: that a program has started, its output, its result.
//
// A reply comes from another process: keys may be missing and values of any type.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <string_view>

#include "common/StCFTypeRef.h"

// One reply's property list, XML or binary; null when it is none or holds no dictionary.
[[nodiscard]] StCFTypeRef<CFDictionaryRef> ParseLaunchReply(std::string_view bytes);

// Receives one reply on a ZeroMQ socket: an empty frame and the property list. Null when none came in
// `timeoutMs` (-1: no limit) or when it cannot be read.
[[nodiscard]] StCFTypeRef<CFDictionaryRef> getResultDictionary(void* socket, int timeoutMs);

// Waits without limit for a reply and returns its result.
int32_t unpackResult(void* socket);

[[nodiscard]] bool isStarted(CFDictionaryRef reply);
[[nodiscard]] bool isDataBlock(CFDictionaryRef reply);
[[nodiscard]] bool isResult(CFDictionaryRef reply);
// Borrowed; null when there is none, or no text.
[[nodiscard]] CFStringRef getDataBlock(CFDictionaryRef reply);
// -1 when there is no such number, also for a null reply.
[[nodiscard]] int32_t getResultCode(CFDictionaryRef reply);
// 0 when there is no such number.
[[nodiscard]] int32_t getResultPID(CFDictionaryRef reply);
