#include "service/dispatch/Replies.h"

#include <CoreFoundation/CoreFoundation.h>

#include "common/StCFTypeRef.h"

namespace service {

namespace {

class Reply {
 public:
  Reply() = default;

  Reply& Add(CFStringRef key, CFTypeRef value) {
    CFDictionarySetValue(dictionary_, key, value);
    return *this;
  }
  Reply& Add(CFStringRef key, int32_t number) {
    return Add(
        key,
        StCFTypeRef<CFNumberRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &number)).get());
  }

  [[nodiscard]] std::string Bytes() const {
    const StCFTypeRef<CFDataRef> data(CFPropertyListCreateData(kCFAllocatorDefault, dictionary_,
                                                               kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    if (data.get() == nullptr) return {};
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
            static_cast<size_t>(CFDataGetLength(data))};
  }

 private:
  StCFTypeRef<CFMutableDictionaryRef> dictionary_{CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks)};
};

}  // namespace

std::string StartedReply(pid_t pid) {
  return Reply().Add(CFSTR("started"), static_cast<CFTypeRef>(kCFBooleanTrue)).Add(CFSTR("pid"), pid).Bytes();
}

std::string OutputReply(std::string_view text) {
  const StCFTypeRef<CFStringRef> string(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                              static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
  return string.get() == nullptr
             ? std::string()
             : Reply().Add(CFSTR("dataBlock"), static_cast<CFTypeRef>(string.get())).Bytes();
}

std::string ResultReply(int32_t result, pid_t pid) {
  Reply reply;
  reply.Add(CFSTR("result"), result);
  if (pid != 0) reply.Add(CFSTR("pid"), pid);
  return reply.Bytes();
}

}  // namespace service
