// Property lists: which form the bytes have, and copies of trees.
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFStream.h>

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <vector>

#include "platform/corefoundation/Array.h"
#include "platform/corefoundation/Dictionary.h"
#include "platform/corefoundation/Error.h"
#include "platform/corefoundation/PropertyListBinary.h"
#include "platform/corefoundation/PropertyListLibrary.h"
#include "platform/corefoundation/PropertyListLimits.h"
#include "platform/corefoundation/PropertyListText.h"
#include "platform/corefoundation/PropertyListXml.h"
#include "platform/corefoundation/StringEncoding.h"

namespace platform::cf {

namespace {

using Bytes = std::span<const uint8_t>;

struct ReadList {
  Kept value;
  CFPropertyListFormat format;
  std::string reason;  // when there is no value
};

bool StartsWith(Bytes bytes, std::string_view start) {
  return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()).starts_with(start);
}

std::string ToUtf8(std::u16string_view text) {
  std::string bytes(EncodedSize(text, kCFStringEncodingUTF8, 0, ByteOrderMark::kNone).bytes, '\0');
  (void)Encode(text, kCFStringEncodingUTF8, 0, ByteOrderMark::kNone,
               {reinterpret_cast<uint8_t*>(bytes.data()), bytes.size()});
  return bytes;
}

ReadList ReadBinary(Bytes bytes) {
  ReadList read{{}, kCFPropertyListBinaryFormat_v1_0, CheckBinaryList(bytes)};
  if (read.reason.empty()) read.value = ReadBinaryList(bytes);
  return read;
}

ReadList ReadXml(const std::string& text) {
  ReadList read{{}, kCFPropertyListXMLFormat_v1_0, CheckXmlList(text)};
  if (read.reason.empty()) read.value = ReadXmlList(text);
  return read;
}

// UTF-16 begins with a mark; everything else is UTF-8.
ReadList ReadAnyText(Bytes bytes) {
  ReadList read{{}, kCFPropertyListOpenStepFormat, {}};
  const bool isUtf16 = StartsWith(bytes, "\xFE\xFF") || StartsWith(bytes, "\xFF\xFE");
  const auto text =
      Decode(bytes, isUtf16 ? kCFStringEncodingUTF16 : kCFStringEncodingUTF8, ByteOrderMark::kExpected);
  if (!text || text->find(u'\0') != std::u16string::npos) {
    read.reason = "the bytes are no text";
    return read;
  }
  std::string utf8 = ToUtf8(*text);
  if (LooksLikeXml(utf8)) return ReadXml(utf8);
  read.value = ReadTextList(*text, read.reason);
  return read;
}

ReadList Read(Bytes bytes) {
  if (bytes.empty()) return {{}, kCFPropertyListOpenStepFormat, "there are no bytes"};
  if (bytes.size() > kLargestList) return {{}, kCFPropertyListOpenStepFormat, "the list is too large"};
  return StartsWith(bytes, kBinaryListStart) ? ReadBinary(bytes) : ReadAnyText(bytes);
}

CFPropertyListRef CreateFromBytes(Bytes bytes, CFPropertyListFormat* format, CFErrorRef* error) {
  ReadList read = Read(bytes);
  if (!read.value) {
    ReportError(error, "The property list cannot be read: " +
                           (read.reason.empty() ? "it is damaged" : read.reason) + ".");
    return nullptr;
  }
  if (format != nullptr) *format = read.format;
  return read.value.Release();
}

// Empty for what is no property list. `depth` counts the containers around it.
Kept DeepCopy(CFTypeRef value, size_t depth) {
  const Type type = AsObject(value)->GetType();
  if ((type == Type::kArray || type == Type::kDictionary) && depth == kDeepestList) return {};
  switch (type) {
    case Type::kString:
      return Kept::Adopt(CFStringCreateCopy(kCFAllocatorDefault, static_cast<CFStringRef>(value)));
    case Type::kData:
    case Type::kNumber:
    case Type::kBoolean:
    case Type::kDate:
      return Kept(value);  // these never change
    case Type::kArray: {
      std::vector<Kept> copies;
      for (const Kept& element : static_cast<CFArrayRef>(value)->values) {
        copies.push_back(DeepCopy(element.Get(), depth + 1));
        if (!copies.back()) return {};
      }
      return Kept::Adopt(new __CFArray(std::move(copies)));
    }
    case Type::kDictionary: {
      __CFDictionary::Entries copies;
      for (const auto& [key, element] : static_cast<CFDictionaryRef>(value)->entries) {
        if (CFGetTypeID(key.Get()) != CFStringGetTypeID()) return {};
        Kept copy = DeepCopy(element.Get(), depth + 1);
        if (!copy) return {};
        copies.emplace(DeepCopy(key.Get(), depth + 1), std::move(copy));
      }
      return Kept::Adopt(new __CFDictionary(std::move(copies)));
    }
    default:
      return {};
  }
}

}  // namespace

}  // namespace platform::cf

using platform::cf::ReportError;

extern "C" {

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data, CFOptionFlags,
                                               CFPropertyListFormat* format, CFErrorRef* error) {
  const size_t size = data == nullptr ? 0 : static_cast<size_t>(CFDataGetLength(data));
  return platform::cf::CreateFromBytes({size == 0 ? nullptr : CFDataGetBytePtr(data), size}, format, error);
}

CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef, CFReadStreamRef stream, CFIndex length,
                                                 CFOptionFlags, CFPropertyListFormat* format,
                                                 CFErrorRef* error) {
  // One byte too many is read, and then refused as too large.
  constexpr size_t kMost = platform::cf::kLargestList + 1;
  const size_t wanted = length > 0 ? std::min(static_cast<size_t>(length), kMost) : kMost;
  std::vector<uint8_t> bytes;
  std::array<UInt8, 65536> block;
  while (bytes.size() < wanted) {
    const size_t room = std::min(block.size(), wanted - bytes.size());
    const CFIndex count = CFReadStreamRead(stream, block.data(), static_cast<CFIndex>(room));
    if (count < 0) {
      ReportError(error, "The property list's stream cannot be read.");
      return nullptr;
    }
    if (count == 0) break;
    bytes.insert(bytes.end(), block.begin(), block.begin() + count);
  }
  return platform::cf::CreateFromBytes(bytes, format, error);
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef propertyList,
                                   CFPropertyListFormat format, CFOptionFlags, CFErrorRef* error) {
  std::string reason = "there is no value";
  CFDataRef data = nullptr;
  if (format != kCFPropertyListXMLFormat_v1_0 && format != kCFPropertyListBinaryFormat_v1_0) {
    reason = "only XML and binary can be written";
  } else if (propertyList != nullptr) {
    data = platform::cf::WriteList(propertyList, format, reason);
  }
  if (data == nullptr) {
    ReportError(error, "The property list cannot be written: " + reason + ".");
  }
  return data;
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef, CFPropertyListRef propertyList,
                                               CFOptionFlags) {
  return propertyList == nullptr ? nullptr : platform::cf::DeepCopy(propertyList, 0).Release();
}

}  // extern "C"
