// Walks over binary property lists as they unfold.
//
// Layout: "bplist00"; objects; a table of their offsets; a trailer of 32 bytes. An object begins with a byte
// of type (upper half) and size. All numbers are big-endian.
#include "platform/corefoundation/PropertyListBinary.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <optional>

#include "platform/corefoundation/PropertyListLimits.h"

namespace platform::cf {

namespace {

using Bytes = std::span<const uint8_t>;

uint64_t BigEndian(Bytes bytes) {
  uint64_t value = 0;
  for (const uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

enum Marker : uint8_t {
  kSimple = 0x0,
  kInteger = 0x1,
  kReal = 0x2,
  kDate = 0x3,
  kData = 0x4,
  kAsciiString = 0x5,
  kUtf16String = 0x6,
  kArray = 0xA,
  kDictionary = 0xD
};

// Characters that can be written again: no NUL, no half of a surrogate pair.
bool IsUtf16(Bytes bytes) {
  bool low = false;  // the second half of a pair must follow
  for (; !bytes.empty(); bytes = bytes.subspan(2)) {
    const auto unit = BigEndian(bytes.first(2));
    if (unit == 0 || low != (unit >= 0xDC00 && unit <= 0xDFFF)) return false;
    low = unit >= 0xD800 && unit <= 0xDBFF;
  }
  return !low;
}

bool IsAscii(Bytes bytes) {
  return std::ranges::all_of(bytes, [](uint8_t byte) { return byte > 0 && byte < 0x80; });
}

// Of 1, 2, 4 or 8 bytes, or of 16 whose upper half says nothing.
bool IsInteger(Bytes bytes) {
  return bytes.size() <= 8 || (bytes.size() == 16 && BigEndian(bytes.first(8)) == 0);
}

// Within the 32 bits of seconds that the library keeps.
bool IsDate(Bytes bytes) {
  const double seconds = std::floor(std::bit_cast<double>(BigEndian(bytes)));
  return seconds >= std::numeric_limits<int32_t>::min() && seconds <= std::numeric_limits<int32_t>::max();
}

bool IsAnything(Bytes) { return true; }

constexpr char kUnknown[] = "an object is none of a property list's";

// A function that returns false has set the reason.
class BinaryChecker {
 public:
  // Writers share strings and numbers, of which each use still takes a byte, but not containers. So there are
  // at most as many values as bytes.
  explicit BinaryChecker(Bytes bytes) : bytes_(bytes), tally_(std::min(bytes.size(), kMostValues)) {}

  std::string Run() {
    if (ReadTrailer()) (void)Object(top_, 0, false);
    return reason_;
  }

 private:
  // The last 32 bytes: 6 unused, the sizes of an offset and of an object's number, then the number of
  // objects, the number of the top one, and where the offsets are.
  bool ReadTrailer() {
    constexpr size_t kTrailerSize = 32;
    if (bytes_.size() < kBinaryListStart.size() + kTrailerSize) return Refuse("the list is cut off");
    const auto trailer = bytes_.last(kTrailerSize);
    offsetSize_ = trailer[6];
    numberSize_ = trailer[7];
    count_ = BigEndian(trailer.subspan(8, 8));
    top_ = BigEndian(trailer.subspan(16, 8));
    const uint64_t table = BigEndian(trailer.subspan(24, 8));
    if (offsetSize_ < 1 || offsetSize_ > 8 || numberSize_ < 1 || numberSize_ > 8) {
      return Refuse("the trailer is damaged");
    }
    const size_t end = bytes_.size() - kTrailerSize;
    if (table < kBinaryListStart.size() || table > end || count_ > (end - table) / offsetSize_) {
      return Refuse("the table of objects is damaged");
    }
    objects_ = bytes_.first(table);
    offsets_ = bytes_.subspan(table, count_ * offsetSize_);
    return true;
  }

  // One object, inside `depth` containers.
  bool Object(uint64_t number, size_t depth, bool isKey) {
    if (number >= count_) return Refuse("an object is missing");
    const uint64_t offset = BigEndian(offsets_.subspan(number * offsetSize_, offsetSize_));
    if (offset < kBinaryListStart.size() || offset >= objects_.size())
      return Refuse("an object is outside the list");
    auto rest = objects_.subspan(offset);
    const uint8_t type = rest[0] >> 4;
    const uint8_t low = rest[0] & 0x0F;
    rest = rest.subspan(1);
    if (isKey && type != kAsciiString && type != kUtf16String) return Refuse("a key is no string");
    switch (type) {
      case kSimple:
        return low == 8 || low == 9 ? Count(0) : Refuse(kUnknown);
      case kInteger:
        return low <= 4 ? Scalar(rest, size_t{1} << low, IsInteger) : Refuse(kUnknown);
      case kReal:
        return low == 2 || low == 3 ? Scalar(rest, size_t{1} << low, IsAnything) : Refuse(kUnknown);
      case kDate:
        return low == 3 ? Scalar(rest, 8, IsDate) : Refuse(kUnknown);
      default:
        return Sized(type, low, rest, depth);
    }
  }

  // What begins with a number of elements.
  bool Sized(uint8_t type, uint8_t low, Bytes rest, size_t depth) {
    const auto size = TakeSize(low, rest);
    if (!size) return Refuse("an object's size is damaged");
    switch (type) {
      case kData:
        return Scalar(rest, *size, IsAnything);
      case kAsciiString:
        return Scalar(rest, *size, IsAscii);
      case kUtf16String:
        return *size <= rest.size() / 2 ? Scalar(rest, *size * 2, IsUtf16) : Refuse("an object is cut off");
      case kArray:
        return Elements(rest, *size, 1, depth);
      case kDictionary:
        if (!tally_.AddDictionary(*size)) return Refuse("the dictionaries have too many keys");
        return Elements(rest, *size, 2, depth);
      default:
        return Refuse(kUnknown);
    }
  }

  // 15 stands for an integer object that follows.
  static std::optional<uint64_t> TakeSize(uint8_t low, Bytes& rest) {
    if (low != 0x0F) return low;
    if (rest.empty() || rest[0] >> 4 != kInteger || (rest[0] & 0x0F) > 3) return std::nullopt;
    const size_t width = size_t{1} << (rest[0] & 0x0F);
    if (rest.size() <= width) return std::nullopt;
    const uint64_t size = BigEndian(rest.subspan(1, width));
    rest = rest.subspan(1 + width);
    return size;
  }

  template <class Check>
  bool Scalar(Bytes rest, uint64_t size, Check check) {
    if (size > rest.size()) return Refuse("an object is cut off");
    if (!Count(size)) return false;
    return check(rest.first(size)) || Refuse("a string, number or date cannot be read");
  }

  // `parts` numbers for each of `size` entries: all keys, then all values.
  bool Elements(Bytes rest, uint64_t size, size_t parts, size_t depth) {
    if (depth >= kDeepestList) return Refuse("the list is nested too deeply, or holds itself");
    if (size > rest.size() / (numberSize_ * parts)) return Refuse("an object is cut off");
    if (!Count(0)) return false;
    for (uint64_t i = 0; i < size * parts; ++i) {
      const uint64_t number = BigEndian(rest.subspan(i * numberSize_, numberSize_));
      if (!Object(number, depth + 1, parts == 2 && i < size)) return false;
    }
    return true;
  }

  bool Count(size_t bytes) { return tally_.Add(bytes) || Refuse("the list unfolds to too many values"); }

  // The first reason stays.
  bool Refuse(const char* reason) {
    if (reason_.empty()) reason_ = reason;
    return false;
  }

  Bytes bytes_;
  Bytes objects_;
  Bytes offsets_;
  size_t offsetSize_ = 0;
  size_t numberSize_ = 0;
  uint64_t count_ = 0;
  uint64_t top_ = 0;
  std::string reason_;
  ListTally tally_;
};

}  // namespace

std::string CheckBinaryList(std::span<const uint8_t> bytes) { return BinaryChecker(bytes).Run(); }

}  // namespace platform::cf
