// Conversion between UTF-16 units and the byte encodings of CFStringEncoding.
//
// By hand, not by iconv: its Mac Roman differs from the platform's in places, and it can neither tell how
// many units went into a full buffer nor put a loss byte for one character.
#include "platform/corefoundation/StringEncoding.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace platform::cf {

namespace {

// The upper half of Mac Roman. Source: the Unicode Consortium's mapping table ROMAN.TXT.
constexpr std::array<char16_t, 128> kMacRoman = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5,
    0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3, 0x00F2, 0x00F4,
    0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6,
    0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8, 0x221E, 0x00B1, 0x2264, 0x2265,
    0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF,
    0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB, 0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5,
    0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044,
    0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9,
    0x0131, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,
};

constexpr char16_t kMark = 0xFEFF;
constexpr char16_t kSwappedMark = 0xFFFE;

constexpr bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }
constexpr bool IsSurrogate(char32_t code) { return code >= 0xD800 && code <= 0xDFFF; }

// ---- bytes to units

void Append(std::u16string& text, char32_t code) {
  if (code < 0x10000) {
    text += static_cast<char16_t>(code);
    return;
  }
  text += static_cast<char16_t>(0xD7C0 + (code >> 10));
  text += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
}

// Takes one character of two to four bytes off the front of `bytes`.
std::optional<char32_t> TakeMultiByte(std::span<const uint8_t>& bytes) {
  constexpr std::array<char32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
  const uint8_t lead = bytes.front();
  const auto size = static_cast<size_t>(std::countl_one(lead));
  if (size < 2 || size > 4 || size > bytes.size()) return std::nullopt;
  char32_t code = lead & (0x7Fu >> size);
  for (const uint8_t byte : bytes.subspan(1, size - 1)) {
    if ((byte & 0xC0) != 0x80) return std::nullopt;
    code = (code << 6) | (byte & 0x3Fu);
  }
  if (code < kSmallest[size] || code > 0x10FFFF || IsSurrogate(code)) return std::nullopt;
  bytes = bytes.subspan(size);
  return code;
}

std::optional<std::u16string> DecodeUtf8(std::span<const uint8_t> bytes) {
  constexpr std::array<uint8_t, 3> kUtf8Mark = {0xEF, 0xBB, 0xBF};
  if (bytes.size() >= kUtf8Mark.size() && std::equal(kUtf8Mark.begin(), kUtf8Mark.end(), bytes.begin())) {
    bytes = bytes.subspan(kUtf8Mark.size());
  }
  std::u16string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const auto ascii = std::ranges::find_if(bytes, [](uint8_t byte) { return byte >= 0x80; });
    text.append(bytes.begin(), ascii);
    bytes = bytes.subspan(static_cast<size_t>(ascii - bytes.begin()));
    if (bytes.empty()) break;
    const auto code = TakeMultiByte(bytes);
    if (!code) return std::nullopt;
    Append(text, *code);
  }
  return text;
}

std::optional<std::u16string> DecodeUtf16(std::span<const uint8_t> bytes, ByteOrderMark mark) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  std::u16string text(bytes.size() / 2, u'\0');
  if (!text.empty()) std::memcpy(text.data(), bytes.data(), bytes.size());
  if (mark == ByteOrderMark::kNone || text.empty()) return text;
  if (text.front() == kSwappedMark) {
    for (char16_t& unit : text) unit = static_cast<char16_t>((unit << 8) | (unit >> 8));
  }
  if (text.front() == kMark) text.erase(0, 1);
  return text;
}

std::optional<std::u16string> DecodeAscii(std::span<const uint8_t> bytes) {
  if (std::ranges::any_of(bytes, [](uint8_t byte) { return byte >= 0x80; })) return std::nullopt;
  return std::u16string(bytes.begin(), bytes.end());
}

char16_t MacRomanUnit(uint8_t byte) { return byte < 0x80 ? byte : kMacRoman[byte - 0x80u]; }

// ---- units to bytes

// One character as bytes; a size of 0 when the encoding lacks it.
struct CharacterBytes {
  std::array<uint8_t, 4> bytes{};
  size_t size = 0;

  void Add(char32_t byte) { bytes[size++] = static_cast<uint8_t>(byte); }
};

CharacterBytes EncodeUtf8(char32_t code) {
  CharacterBytes out;
  if (IsSurrogate(code)) return out;
  if (code < 0x80) {
    out.Add(code);
  } else if (code < 0x800) {
    out.Add(0xC0 | (code >> 6));
  } else if (code < 0x10000) {
    out.Add(0xE0 | (code >> 12));
  } else {
    out.Add(0xF0 | (code >> 18));
    out.Add(0x80 | ((code >> 12) & 0x3F));
  }
  if (code >= 0x800) out.Add(0x80 | ((code >> 6) & 0x3F));
  if (code >= 0x80) out.Add(0x80 | (code & 0x3F));
  return out;
}

CharacterBytes EncodeUtf16(char32_t code) {
  std::u16string units;
  Append(units, code);
  CharacterBytes out;
  out.size = units.size() * sizeof(char16_t);
  std::memcpy(out.bytes.data(), units.data(), out.size);
  return out;
}

CharacterBytes EncodeMacRoman(char32_t code) {
  CharacterBytes out;
  if (code < 0x80) {
    out.Add(code);
  } else if (const auto found = std::ranges::find(kMacRoman, code); found != kMacRoman.end()) {
    out.Add(static_cast<char32_t>(0x80 + (found - kMacRoman.begin())));
  }
  return out;
}

CharacterBytes EncodeUpTo(char32_t last, char32_t code) {
  CharacterBytes out;
  if (code <= last) out.Add(code);
  return out;
}

CharacterBytes EncodeCharacter(char32_t code, CFStringEncoding encoding) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return EncodeUtf8(code);
    case kCFStringEncodingUTF16:
      return EncodeUtf16(code);
    case kCFStringEncodingMacRoman:
      return EncodeMacRoman(code);
    case kCFStringEncodingISOLatin1:
      return EncodeUpTo(0xFF, code);
    case kCFStringEncodingASCII:
      return EncodeUpTo(0x7F, code);
    default:
      return {};
  }
}

struct Character {
  char32_t code;  // half a surrogate pair stands for itself
  size_t units;
};

Character FirstCharacter(std::u16string_view text) {
  if (text.size() >= 2 && IsHighSurrogate(text[0]) && IsLowSurrogate(text[1])) {
    return {0x10000u + ((text[0] & 0x3FFu) << 10) + (text[1] & 0x3FFu), 2};
  }
  return {text[0], 1};
}

std::u16string_view AsciiPrefix(std::u16string_view text) {
  const auto end = std::ranges::find_if(text, [](char16_t unit) { return unit >= 0x80; });
  return text.substr(0, static_cast<size_t>(end - text.begin()));
}

class CountingSink {
 public:
  [[nodiscard]] bool Put(const CharacterBytes&) { return true; }
  size_t PutAscii(std::u16string_view text) { return text.size(); }
};

class BufferSink {
 public:
  explicit BufferSink(std::span<uint8_t> room) : room_(room) {}

  // False, and nothing written, when the whole does not fit.
  [[nodiscard]] bool Put(const CharacterBytes& character) {
    if (character.size > room_.size()) return false;
    std::copy_n(character.bytes.begin(), character.size, room_.begin());
    room_ = room_.subspan(character.size);
    return true;
  }

  // Returns how many fitted.
  size_t PutAscii(std::u16string_view text) {
    const size_t count = std::min(text.size(), room_.size());
    std::ranges::transform(text.substr(0, count), room_.begin(),
                           [](char16_t unit) { return static_cast<uint8_t>(unit); });
    room_ = room_.subspan(count);
    return count;
  }

 private:
  std::span<uint8_t> room_;
};

template <class Sink>
Encoded EncodeInto(Sink sink, std::u16string_view text, CFStringEncoding encoding, uint8_t lossByte,
                   ByteOrderMark mark) {
  Encoded done;
  if (BytesPerUnit(encoding) == 0) return done;
  if (encoding == kCFStringEncodingUTF16 && mark == ByteOrderMark::kExpected) {
    const CharacterBytes bytes = EncodeUtf16(kMark);
    if (!sink.Put(bytes)) return done;
    done.bytes = bytes.size;
  }
  const bool asciiIsOneByte = encoding != kCFStringEncodingUTF16;
  while (done.units < text.size()) {
    const auto ascii = asciiIsOneByte ? AsciiPrefix(text.substr(done.units)) : std::u16string_view();
    if (!ascii.empty()) {
      const size_t count = sink.PutAscii(ascii);
      done.units += count;
      done.bytes += count;
      if (count < ascii.size()) break;
      continue;
    }
    const Character character = FirstCharacter(text.substr(done.units));
    CharacterBytes bytes = EncodeCharacter(character.code, encoding);
    if (bytes.size == 0 && lossByte != 0) bytes.Add(lossByte);
    if (bytes.size == 0 || !sink.Put(bytes)) break;
    done.units += character.units;
    done.bytes += bytes.size;
  }
  return done;
}

}  // namespace

std::optional<std::u16string> Decode(std::span<const uint8_t> bytes, CFStringEncoding encoding,
                                     ByteOrderMark mark) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return DecodeUtf8(bytes);
    case kCFStringEncodingUTF16:
      return DecodeUtf16(bytes, mark);
    case kCFStringEncodingMacRoman:
      return DecodeSystem({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    case kCFStringEncodingISOLatin1:
      return std::u16string(bytes.begin(), bytes.end());
    case kCFStringEncodingASCII:
      return DecodeAscii(bytes);
    default:
      return std::nullopt;
  }
}

std::u16string DecodeSystem(std::string_view bytes) {
  std::u16string text(bytes.size(), u'\0');
  std::ranges::transform(bytes, text.begin(),
                         [](char byte) { return MacRomanUnit(static_cast<uint8_t>(byte)); });
  return text;
}

Encoded Encode(std::u16string_view text, CFStringEncoding encoding, uint8_t lossByte, ByteOrderMark mark,
               std::span<uint8_t> room) {
  return EncodeInto(BufferSink(room), text, encoding, lossByte, mark);
}

Encoded EncodedSize(std::u16string_view text, CFStringEncoding encoding, uint8_t lossByte,
                    ByteOrderMark mark) {
  return EncodeInto(CountingSink(), text, encoding, lossByte, mark);
}

CFIndex BytesPerUnit(CFStringEncoding encoding) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return 3;
    case kCFStringEncodingUTF16:
      return 2;
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingASCII:
      return 1;
    default:
      return 0;
  }
}

}  // namespace platform::cf
