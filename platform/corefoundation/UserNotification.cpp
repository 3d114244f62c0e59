// The alert that a program without a window shows: one line on standard error.
#include <CoreFoundation/CFUserNotification.h>

#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "platform/corefoundation/String.h"
#include "platform/corefoundation/StringEncoding.h"

namespace {

// Line ends and other control characters would break the line into several.
std::u16string OneLine(CFStringRef text) {
  std::u16string line = text != nullptr ? text->units : std::u16string();
  for (char16_t& unit : line) {
    if (unit < u' ' || unit == u'\x7F') unit = u' ';
  }
  return line;
}

std::u16string Buttons(const std::vector<CFStringRef>& titles) {
  std::u16string buttons;
  for (const CFStringRef title : titles) {
    if (title != nullptr) buttons += u" [" + OneLine(title) + u"]";
  }
  return buttons;
}

bool WriteLine(const std::u16string& line) {
  constexpr auto kMark = platform::cf::ByteOrderMark::kNone;
  const size_t size = platform::cf::EncodedSize(line, kCFStringEncodingUTF8, '?', kMark).bytes;
  std::string bytes(size, '\0');
  const std::span room(reinterpret_cast<uint8_t*>(bytes.data()), size);
  const bool whole = platform::cf::Encode(line, kCFStringEncodingUTF8, '?', kMark, room).units == line.size();
  return whole && std::fprintf(stderr, "%s\n", bytes.c_str()) > 0;
}

}  // namespace

extern "C" {

SInt32 CFUserNotificationDisplayAlert(CFTimeInterval, CFOptionFlags, CFURLRef, CFURLRef, CFURLRef,
                                      CFStringRef header, CFStringRef message, CFStringRef defaultButtonTitle,
                                      CFStringRef alternateButtonTitle, CFStringRef otherButtonTitle,
                                      CFOptionFlags* responseFlags) {
  std::u16string line = OneLine(header);
  if (message != nullptr) line += u": " + OneLine(message);
  line += Buttons({defaultButtonTitle, alternateButtonTitle, otherButtonTitle});
  if (!WriteLine(line)) return -1;
  if (responseFlags != nullptr) *responseFlags = kCFUserNotificationDefaultResponse;
  return 0;
}

}  // extern "C"
