#include "common/LaunchReplies.h"

#include "common/ZmqHandles.h"

namespace {

// Null when the key is missing or its value has another type.
CFTypeRef ValueOfType(CFDictionaryRef reply, CFStringRef key, CFTypeID type) {
  const CFTypeRef value = CFDictionaryGetValue(reply, key);
  return value != nullptr && CFGetTypeID(value) == type ? value : nullptr;
}

int32_t NumberOr(int32_t fallback, CFDictionaryRef reply, CFStringRef key) {
  const CFTypeRef number = ValueOfType(reply, key, CFNumberGetTypeID());
  int32_t value = fallback;
  if (number != nullptr) CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt32Type, &value);
  return value;
}

}  // namespace

StCFTypeRef<CFDictionaryRef> ParseLaunchReply(std::string_view bytes) {
  const StCFTypeRef<CFDataRef> data(CFDataCreate(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
  StCFTypeRef<CFPropertyListRef> list(
      CFPropertyListCreateWithData(kCFAllocatorDefault, data, kCFPropertyListImmutable, nullptr, nullptr));
  if (list.get() == nullptr || CFGetTypeID(list) != CFDictionaryGetTypeID()) return {};
  return StCFTypeRef<CFDictionaryRef>(static_cast<CFDictionaryRef>(list.Release()));
}

StCFTypeRef<CFDictionaryRef> getResultDictionary(void* socket, int timeoutMs) {
  if (ZmqPollIn(socket, timeoutMs) != 1) return {};
  ZmqMessage frame;
  if (!frame.Receive(socket)) return {};
  const bool whole = frame.Size() == 0 && frame.More() && frame.Receive(socket) && !frame.More();
  if (!whole) {
    ZmqDropFurtherFrames(socket, frame);
    return {};
  }
  return ParseLaunchReply({static_cast<const char*>(frame.Data()), frame.Size()});
}

int32_t unpackResult(void* socket) {
  constexpr int kNoLimit = -1;
  return getResultCode(getResultDictionary(socket, kNoLimit));
}

bool isStarted(CFDictionaryRef reply) { return CFDictionaryContainsKey(reply, CFSTR("started")); }

bool isDataBlock(CFDictionaryRef reply) { return CFDictionaryContainsKey(reply, CFSTR("dataBlock")); }

bool isResult(CFDictionaryRef reply) { return CFDictionaryContainsKey(reply, CFSTR("result")); }

CFStringRef getDataBlock(CFDictionaryRef reply) {
  return static_cast<CFStringRef>(ValueOfType(reply, CFSTR("dataBlock"), CFStringGetTypeID()));
}

int32_t getResultCode(CFDictionaryRef reply) {
  return reply == nullptr ? -1 : NumberOr(-1, reply, CFSTR("result"));
}

int32_t getResultPID(CFDictionaryRef reply) { return NumberOr(0, reply, CFSTR("pid")); }
