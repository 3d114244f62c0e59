#include "service/dispatch/LaunchOrder.h"

#include <CoreFoundation/CoreFoundation.h>

#include <array>
#include <optional>
#include <utility>

#include "common/StCFTypeRef.h"

namespace service {

namespace {

StCFTypeRef<CFPropertyListRef> CopyList(std::string_view bytes) {
  const StCFTypeRef<CFDataRef> data(CFDataCreate(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
  return StCFTypeRef<CFPropertyListRef>(
      CFPropertyListCreateWithData(kCFAllocatorDefault, data, kCFPropertyListImmutable, nullptr, nullptr));
}

// Nothing for what is no string, cannot be UTF-8 or holds a NUL, which would cut it short.
std::optional<std::string> TextOf(CFTypeRef value) {
  if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID()) return std::nullopt;
  const auto string = static_cast<CFStringRef>(value);
  const CFIndex length = CFStringGetLength(string);
  std::string text(static_cast<size_t>(CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8)),
                   '\0');
  CFIndex used = 0;
  const CFIndex converted =
      CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingUTF8, 0, false,
                       reinterpret_cast<UInt8*>(text.data()), static_cast<CFIndex>(text.size()), &used);
  text.resize(static_cast<size_t>(used));
  if (converted != length || text.find('\0') != std::string::npos) return std::nullopt;
  return text;
}

bool ReadCommand(CFTypeRef value, std::string& command) {
  std::optional<std::string> text = TextOf(value);
  if (!text || text->empty()) return false;
  command = text->front() == '/' ? std::move(*text) : "/" + *text;
  return true;
}

bool ReadParameters(CFTypeRef value, std::vector<std::string>& parameters) {
  if (value == nullptr) return true;
  if (CFGetTypeID(value) != CFArrayGetTypeID()) return false;
  const auto array = static_cast<CFArrayRef>(value);
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    std::optional<std::string> text = TextOf(CFArrayGetValueAtIndex(array, i));
    if (!text) return false;
    parameters.push_back(std::move(*text));
  }
  return true;
}

bool ReadMode(CFTypeRef value, Mode& mode) {
  constexpr std::array<std::pair<std::string_view, Mode>, 3> kModes{
      {{"wait", Mode::kWait}, {"stream", Mode::kStream}, {"lines", Mode::kLines}}};
  if (value == nullptr) return true;
  const std::optional<std::string> text = TextOf(value);
  for (const auto& [name, meaning] : kModes) {
    if (text != name) continue;
    mode = meaning;
    return true;
  }
  return false;
}

bool ReadSecret(CFTypeRef value, std::string& secret) {
  if (value == nullptr) return true;
  std::optional<std::string> text = TextOf(value);
  if (text) secret = std::move(*text);
  return text.has_value();
}

}  // namespace

ResultCode ParseOrder(std::string_view bytes, LaunchOrder& order) {
  if (bytes.size() > kMaxRequestBytes) return ResultCode::kTooLarge;
  const StCFTypeRef<CFPropertyListRef> list = CopyList(bytes);
  if (list.get() == nullptr || CFGetTypeID(list) != CFDictionaryGetTypeID()) return ResultCode::kNoRequest;
  const auto value = [request = static_cast<CFDictionaryRef>(list.get())](CFStringRef key) {
    return CFDictionaryGetValue(request, key);
  };
  if (!ReadCommand(value(CFSTR("command")), order.command)) return ResultCode::kBadCommand;
  if (!ReadParameters(value(CFSTR("parameters")), order.parameters)) return ResultCode::kBadParameters;
  if (!ReadMode(value(CFSTR("mode")), order.mode)) return ResultCode::kBadMode;
  if (!ReadSecret(value(CFSTR("secret")), order.secret)) return ResultCode::kBadSecret;
  return ResultCode::kDone;
}

}  // namespace service
