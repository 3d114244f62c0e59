// Turns libplist's trees into values and back.
#include "platform/corefoundation/PropertyListLibrary.h"

#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFNumber.h>
#include <plist/plist.h>

#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "platform/Handles.h"
#include "platform/corefoundation/Array.h"
#include "platform/corefoundation/Dictionary.h"
#include "platform/corefoundation/Number.h"
#include "platform/corefoundation/PropertyListLimits.h"
#include "platform/corefoundation/String.h"
#include "platform/corefoundation/StringEncoding.h"

namespace platform::cf {

namespace {

struct NodeDeleter {
  void operator()(plist_t node) const noexcept { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

Node ParseXml(std::string_view text) {
  plist_t node = nullptr;
  plist_from_xml(text.data(), static_cast<uint32_t>(text.size()), &node);
  return Node(node);
}

// ---- from the library's tree to values; empty for what has no value here

Kept FromNode(plist_t node);

// A byte-order mark in a string is a character like any other, which decoding takes for a mark.
Kept FromUtf8(std::string_view bytes) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  auto text = Decode({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}, kCFStringEncodingUTF8,
                     ByteOrderMark::kNone);
  if (!text) return {};
  if (bytes.starts_with(kMark)) text->insert(0, 1, u'\uFEFF');
  return Kept::Adopt(CreateString(*std::move(text)));
}

// The library hands out 64 bits and keeps to itself whether they have a sign; only what it prints tells.
bool IsNegative(plist_t node) {
  char* printed = nullptr;
  uint32_t length = 0;
  plist_to_xml(node, &printed, &length);
  const MallocPtr<char> text(printed);
  return text && std::string_view(text.get(), length).find("<integer>-") != std::string_view::npos;
}

// Above the signed range: a real, which is near.
Kept FromInteger(plist_t node) {
  uint64_t bits = 0;
  plist_get_uint_val(node, &bits);
  if (bits > uint64_t{std::numeric_limits<int64_t>::max()} && !IsNegative(node)) {
    const auto real = static_cast<double>(bits);
    return Kept::Adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &real));
  }
  const auto integer = static_cast<int64_t>(bits);
  return Kept::Adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &integer));
}

Kept FromReal(plist_t node) {
  double real = 0;
  plist_get_real_val(node, &real);
  return Kept::Adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &real));
}

// Dates are to the second, rounded down. Of the fraction the library tells the size only.
Kept FromDate(plist_t node) {
  int32_t seconds = 0;
  int32_t microseconds = 0;
  plist_get_date_val(node, &seconds, &microseconds);
  return Kept::Adopt(
      CFDateCreate(kCFAllocatorDefault, seconds - (seconds < 0 && microseconds != 0 ? 1.0 : 0.0)));
}

Kept FromArray(plist_t node) {
  plist_array_iter position = nullptr;
  plist_array_new_iter(node, &position);
  const MallocPtr<void> owner(position);
  std::vector<Kept> values;
  for (plist_t item = nullptr;;) {
    plist_array_next_item(node, position, &item);
    if (item == nullptr) return Kept::Adopt(new __CFArray(std::move(values)));
    values.push_back(FromNode(item));
    if (!values.back()) return {};
  }
}

// A binary list can name one key twice; the last counts.
Kept FromDictionary(plist_t node) {
  plist_dict_iter position = nullptr;
  plist_dict_new_iter(node, &position);
  const MallocPtr<void> owner(position);
  __CFDictionary::Entries entries;
  for (;;) {
    char* name = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(node, position, &name, &item);
    const MallocPtr<char> nameOwner(name);
    if (item == nullptr) return Kept::Adopt(new __CFDictionary(std::move(entries)));
    Kept key = FromUtf8(name);
    Kept value = FromNode(item);
    if (!key || !value) return {};
    entries.erase(key);  // all keys are strings, which are equal when their order is
    entries.emplace(std::move(key), std::move(value));
  }
}

Kept FromNode(plist_t node) {
  uint64_t length = 0;
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN:
      return Kept(plist_bool_val_is_true(node) != 0 ? kCFBooleanTrue : kCFBooleanFalse);
    case PLIST_UINT:
      return FromInteger(node);
    case PLIST_REAL:
      return FromReal(node);
    case PLIST_STRING: {
      const char* const bytes = plist_get_string_ptr(node, &length);
      return FromUtf8({bytes, length});
    }
    case PLIST_DATA: {
      const char* const bytes = plist_get_data_ptr(node, &length);
      return Kept::Adopt(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes),
                                      static_cast<CFIndex>(length)));
    }
    case PLIST_DATE:
      return FromDate(node);
    case PLIST_ARRAY:
      return FromArray(node);
    case PLIST_DICT:
      return FromDictionary(node);
    default:
      return {};
  }
}

// ---- from values to the library's tree

// A function that returns nothing has set the reason.
class NodeMaker {
 public:
  // One value, inside `depth` containers.
  Node Make(CFTypeRef value, size_t depth) {
    if (!tally_.Add(0)) return Refuse("the list holds too many values");
    switch (AsObject(value)->GetType()) {
      case Type::kString: {
        const auto text = Utf8(static_cast<CFStringRef>(value));
        return text ? Node(plist_new_string(text->c_str())) : nullptr;
      }
      case Type::kNumber:
        return Number(static_cast<CFNumberRef>(value));
      case Type::kBoolean:
        return Node(plist_new_bool(CFBooleanGetValue(static_cast<CFBooleanRef>(value))));
      case Type::kDate:
        return Date(static_cast<CFDateRef>(value));
      case Type::kData:
        return Data(static_cast<CFDataRef>(value));
      case Type::kArray:
        return Array(*static_cast<CFArrayRef>(value), depth + 1);
      case Type::kDictionary:
        return Dictionary(*static_cast<CFDictionaryRef>(value), depth + 1);
      default:
        return Refuse("a value is none of a property list's");
    }
  }

  std::string TakeReason() { return std::move(reason_); }

 private:
  // The library's strings end at a NUL.
  std::optional<std::string> Utf8(CFStringRef string) {
    const auto& units = string->units;
    const auto size = EncodedSize(units, kCFStringEncodingUTF8, 0, ByteOrderMark::kNone);
    if (size.units != units.size() || units.find(u'\0') != std::u16string::npos) {
      reason_ = "a string holds half a character, or a NUL";
      return std::nullopt;
    }
    if (!tally_.Add(size.bytes)) {
      reason_ = "the list is too large";
      return std::nullopt;
    }
    std::string bytes(size.bytes, '\0');
    (void)Encode(units, kCFStringEncodingUTF8, 0, ByteOrderMark::kNone,
                 {reinterpret_cast<uint8_t*>(bytes.data()), bytes.size()});
    return bytes;
  }

  // The library makes nodes of unsigned integers only, but reads signed ones.
  static Node Number(CFNumberRef number) {
    if (HoldsReal(number)) {
      double real = 0;
      CFNumberGetValue(number, kCFNumberDoubleType, &real);
      return Node(plist_new_real(real));
    }
    int64_t integer = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &integer);
    if (integer >= 0) return Node(plist_new_uint(static_cast<uint64_t>(integer)));
    return ParseXml("<plist><integer>" + std::to_string(integer) + "</integer></plist>");
  }

  Node Date(CFDateRef date) {
    const double seconds = std::floor(CFDateGetAbsoluteTime(date));
    using Limits = std::numeric_limits<int32_t>;
    if (!(seconds >= Limits::min() && seconds <= Limits::max()))
      return Refuse("a date lies outside 1932 to 2069");
    return Node(plist_new_date(static_cast<int32_t>(seconds), 0));
  }

  Node Data(CFDataRef data) {
    const auto size = static_cast<size_t>(CFDataGetLength(data));
    if (!tally_.Add(size)) return Refuse("the list is too large");
    return Node(plist_new_data(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), size));
  }

  Node Array(const __CFArray& array, size_t depth) {
    if (depth > kDeepestList) return Refuse("the list is nested too deeply");
    Node node(plist_new_array());
    for (const Kept& value : array.values) {
      Node made = Make(value.Get(), depth);
      if (!made) return nullptr;
      plist_array_append_item(node.get(), made.release());
    }
    return node;
  }

  Node Dictionary(const __CFDictionary& dictionary, size_t depth) {
    if (depth > kDeepestList) return Refuse("the list is nested too deeply");
    if (!tally_.AddDictionary(dictionary.entries.size()))
      return Refuse("the dictionaries have too many keys");
    Node node(plist_new_dict());
    for (const auto& [key, value] : dictionary.entries) {
      if (CFGetTypeID(key.Get()) != CFStringGetTypeID()) return Refuse("a key is no string");
      const auto name = Utf8(static_cast<CFStringRef>(key.Get()));
      if (!name) return nullptr;
      Node made = Make(value.Get(), depth);
      if (!made) return nullptr;
      plist_dict_set_item(node.get(), name->c_str(), made.release());
    }
    return node;
  }

  Node Refuse(const char* reason) {
    reason_ = reason;
    return nullptr;
  }

  std::string reason_;
  ListTally tally_;
};

}  // namespace

Kept ReadXmlList(std::string_view text) {
  const Node node = ParseXml(text);
  return node ? FromNode(node.get()) : Kept();
}

Kept ReadBinaryList(std::span<const uint8_t> bytes) {
  plist_t read = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<uint32_t>(bytes.size()), &read);
  const Node node(read);
  return node ? FromNode(node.get()) : Kept();
}

CFDataRef WriteList(CFTypeRef value, CFPropertyListFormat format, std::string& reason) {
  NodeMaker maker;
  const Node node = maker.Make(value, 0);
  reason = maker.TakeReason();
  if (!node) return nullptr;
  char* written = nullptr;
  uint32_t length = 0;
  (format == kCFPropertyListBinaryFormat_v1_0 ? plist_to_bin : plist_to_xml)(node.get(), &written, &length);
  const MallocPtr<char> bytes(written);
  if (!bytes) {
    reason = "the list cannot be written";
    return nullptr;
  }
  return CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.get()),
                      static_cast<CFIndex>(length));
}

}  // namespace platform::cf
