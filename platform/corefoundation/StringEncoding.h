// Conversion between UTF-16 units and the byte encodings of CFStringEncoding.
#pragma once
#include <CoreFoundation/CFString.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace platform::cf {

// Whether UTF-16 bytes begin with a mark that tells their order. Without one they are in this machine's
// order.
enum class ByteOrderMark { kNone, kExpected };

// The whole of `bytes`, or nothing when a part of it is not valid in `encoding` or the encoding is unknown.
[[nodiscard]] std::optional<std::u16string> Decode(std::span<const uint8_t> bytes, CFStringEncoding encoding,
                                                   ByteOrderMark mark);

// Bytes in the system encoding, which gives every byte a meaning.
[[nodiscard]] std::u16string DecodeSystem(std::string_view bytes);

struct Encoded {
  size_t units = 0;  // converted
  size_t bytes = 0;  // that they took
};

// Converts from the start until the end of `text`, the end of `room`, or a character that the encoding lacks.
// With `lossByte` other than 0 that byte stands for such a character. No character is written in part.
[[nodiscard]] Encoded Encode(std::u16string_view text, CFStringEncoding encoding, uint8_t lossByte,
                             ByteOrderMark mark, std::span<uint8_t> room);
// The same with room for everything, and nothing written.
[[nodiscard]] Encoded EncodedSize(std::u16string_view text, CFStringEncoding encoding, uint8_t lossByte,
                                  ByteOrderMark mark);

// The most bytes that one UTF-16 unit takes; 0 for an unknown encoding.
[[nodiscard]] CFIndex BytesPerUnit(CFStringEncoding encoding);

}  // namespace platform::cf
