#include "common/KCStringUtils.h"

#include <cstdlib>
#include <cstring>

namespace {

// How many units the character at `index` takes.
CFIndex UnitsOfCharacter(CFStringRef string, CFIndex index, CFIndex length) {
  const auto isHigh = [](UniChar unit) { return unit >= 0xD800 && unit < 0xDC00; };
  const auto isLow = [](UniChar unit) { return unit >= 0xDC00 && unit < 0xE000; };
  const bool isPair = index + 1 < length && isHigh(CFStringGetCharacterAtIndex(string, index)) &&
                      isLow(CFStringGetCharacterAtIndex(string, index + 1));
  return isPair ? 2 : 1;
}

// Up to `size` bytes, without what the encoding lacks; returns their count.
CFIndex ConvertWhatFits(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding) {
  const CFIndex length = CFStringGetLength(string);
  CFIndex written = 0;
  CFIndex index = 0;
  while (index < length && written < size) {
    CFIndex used = 0;
    index += CFStringGetBytes(string, CFRangeMake(index, length - index), encoding, 0, false,
                              reinterpret_cast<UInt8*>(buffer + written), size - written, &used);
    written += used;
    if (index >= length) break;

    // It stopped at a character that the encoding lacks, which is dropped, or at one that does not fit.
    const CFIndex units = UnitsOfCharacter(string, index, length);
    const bool convertible =
        CFStringGetBytes(string, CFRangeMake(index, units), encoding, 0, false, nullptr, 0, nullptr) > 0;
    if (convertible) break;
    index += units;
  }
  return written;
}

}  // namespace

CFIndex KCStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding) {
  if (buffer == nullptr || size < 1) return 0;
  buffer[0] = '\0';
  if (string == nullptr) return 0;
  if (CFStringGetCString(string, buffer, size, encoding)) return 1;

  const CFIndex written = ConvertWhatFits(string, buffer, size - 1, encoding);
  buffer[written] = '\0';
  return written;
}

KCStringHelper::KCStringHelper(CFStringRef string, CFStringEncoding encoding) {
  if (string == nullptr) return;
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), encoding);
  if (size < 1) return;
  buffer_.reset(static_cast<char*>(std::malloc(static_cast<size_t>(size) + 1)));
  KCStringGetCString(string, buffer_.get(), size + 1, encoding);
}

int CStringCompareWithCFString(const char* text, CFStringRef string, CFStringEncoding encoding) {
  const KCStringHelper converted(string, encoding);
  const char* other = converted.GetCStringPtr();
  return std::strcmp(text != nullptr ? text : "", other != nullptr ? other : "");
}
