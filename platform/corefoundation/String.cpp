// Strings: making, reading, comparing, and the constants behind CFSTR.
#include "platform/corefoundation/String.h"

#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <span>

#include "platform/ThreadSafety.h"
#include "platform/corefoundation/StringEncoding.h"

namespace platform::cf {

namespace {

// The constants of the process. Never destroyed: threads that outlive main() still use them.
class ConstantStrings {
 public:
  static ConstantStrings& Shared() {
    static auto* const shared = new ConstantStrings;
    return *shared;
  }

  CFStringRef Get(std::string_view text) {
    const Locked held(lock_);
    const auto found = strings_.find(text);
    if (found != strings_.end()) return found->second;
    auto* const made = new __CFString(DecodeLiteral(text));
    made->MakeImmortal();
    strings_.emplace(text, made);
    return made;
  }

 private:
  // Sources are UTF-8. Escapes in a literal can spell any byte; those mean the system encoding.
  static std::u16string DecodeLiteral(std::string_view text) {
    const std::span bytes(reinterpret_cast<const uint8_t*>(text.data()), text.size());
    if (auto decoded = Decode(bytes, kCFStringEncodingUTF8, ByteOrderMark::kNone)) return *std::move(decoded);
    return DecodeSystem(text);
  }

  Lock lock_;
  std::map<std::string, CFStringRef, std::less<>> strings_ GUARDED_BY(lock_);
};

CFStringRef CreateDecoded(std::span<const uint8_t> bytes, CFStringEncoding encoding, ByteOrderMark mark) {
  auto text = Decode(bytes, encoding, mark);
  return text ? CreateString(*std::move(text)) : nullptr;
}

}  // namespace

CFStringRef CreateString(std::u16string text) { return new __CFString(std::move(text)); }

std::u16string_view Slice(CFStringRef string, CFRange range) {
  const auto length = static_cast<CFIndex>(string->units.size());
  if (range.location < 0 || range.length < 0 || range.location > length ||
      range.length > length - range.location) {
    Fault("a range goes beyond its string");
  }
  return std::u16string_view(string->units)
      .substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length));
}

std::u16string Widen(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

std::u16string QuotedUnlessWord(std::u16string_view text) {
  constexpr std::u16string_view kWord =
      u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_$/:.";
  if (!text.empty() && text.find_first_not_of(kWord) == std::u16string_view::npos)
    return std::u16string(text);
  std::u16string quoted = u"\"";
  for (const char16_t unit : text) {
    if (unit == u'"' || unit == u'\\') {
      quoted += {u'\\', unit};
    } else if (unit == u'\n') {
      quoted += u"\\n";
    } else if (unit >= u' ' && unit < 0x7F) {
      quoted += unit;
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\U%04x", unit);
      quoted += Widen(escape);
    }
  }
  return quoted + u'"';
}

}  // namespace platform::cf

bool __CFString::Equals(const Object& other) const {
  return units == static_cast<const __CFString&>(other).units;
}

CFHashCode __CFString::Hash() const { return std::hash<std::u16string_view>{}(units); }

std::u16string __CFString::Description() const {
  return platform::cf::Describe("CFString", this, u"contents = \"" + units + u"\"");
}

using platform::cf::ByteOrderMark;
using platform::cf::Type;

extern "C" {

CFTypeID CFStringGetTypeID() { return static_cast<CFTypeID>(Type::kString); }

CFStringEncoding CFStringGetSystemEncoding() { return kCFStringEncodingMacRoman; }

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text, CFStringEncoding encoding) {
  if (text == nullptr) return nullptr;
  return platform::cf::CreateDecoded({reinterpret_cast<const uint8_t*>(text), std::strlen(text)}, encoding,
                                     ByteOrderMark::kNone);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
  if (count < 0 || (bytes == nullptr && count > 0)) return nullptr;
  return platform::cf::CreateDecoded(
      {bytes, static_cast<size_t>(count)}, encoding,
      isExternalRepresentation ? ByteOrderMark::kExpected : ByteOrderMark::kNone);
}

CFIndex CFStringGetLength(CFStringRef string) { return static_cast<CFIndex>(string->units.size()); }

UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index) {
  return platform::cf::Slice(string, CFRangeMake(index, 1)).front();
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  const CFIndex perUnit = platform::cf::BytesPerUnit(encoding);
  if (perUnit == 0 || length < 0 || length > std::numeric_limits<CFIndex>::max() / perUnit)
    return kCFNotFound;
  return length * perUnit;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding) {
  if (buffer == nullptr || size < 1) return false;
  const std::span room(reinterpret_cast<uint8_t*>(buffer), static_cast<size_t>(size) - 1);
  const auto encoded = platform::cf::Encode(string->units, encoding, 0, ByteOrderMark::kNone, room);
  const bool whole = encoded.units == string->units.size();
  buffer[whole ? encoded.bytes : 0] = '\0';
  return whole;
}

CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex size, CFIndex* usedBytes) {
  const auto text = platform::cf::Slice(string, range);
  const auto mark = isExternalRepresentation ? ByteOrderMark::kExpected : ByteOrderMark::kNone;
  const bool countOnly = buffer == nullptr || size == 0;
  const auto encoded = countOnly ? platform::cf::EncodedSize(text, encoding, lossByte, mark)
                                 : platform::cf::Encode(text, encoding, lossByte, mark,
                                                        {buffer, static_cast<size_t>(size > 0 ? size : 0)});
  if (usedBytes != nullptr) *usedBytes = static_cast<CFIndex>(encoded.bytes);
  return static_cast<CFIndex>(encoded.units);
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef string) {
  return string->changes ? platform::cf::CreateString(string->units)
                         : static_cast<CFStringRef>(CFRetain(string));
}

CFStringRef __CFStringMakeConstantString(const char* text) {
  return platform::cf::ConstantStrings::Shared().Get(text);
}

}  // extern "C"
