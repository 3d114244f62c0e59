// Between strings and bytes, also where not everything can be converted or fits.
#include "common/KCStringUtils.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "common/StCFTypeRef.h"

namespace {

StCFTypeRef<CFStringRef> MakeString(const std::string& utf8) {
  return StCFTypeRef<CFStringRef>{
      CFStringCreateWithCString(kCFAllocatorDefault, utf8.c_str(), kCFStringEncodingUTF8)};
}

TEST(StringUtilsTest, WhatFitsAndCanBeConvertedIsWritten) {
  struct Row {
    const char* utf8;
    CFIndex size;
    CFStringEncoding encoding;
    CFIndex result;
    const char* written;
  };
  constexpr CFStringEncoding kUtf8 = kCFStringEncodingUTF8;
  constexpr CFStringEncoding kAscii = kCFStringEncodingASCII;
  constexpr CFStringEncoding kRoman = kCFStringEncodingMacRoman;
  constexpr Row kRows[] = {
      {"abc", 4, kAscii, 1, "abc"},             // all of it: any result but 0
      {"abcdef", 4, kAscii, 3, "abc"},          // cut
      {"abc", 0, kAscii, 0, nullptr},           // not even the end
      {"a\u00e9b", 8, kAscii, 2, "ab"},         // dropped in the middle
      {"\u4e2d\u6587", 8, kAscii, 0, ""},       // nothing left
      {"a\U0001F600b", 8, kAscii, 2, "ab"},     // a pair of units is one character
      {"a\U0001F600b", 5, kUtf8, 1, "a"},       // four bytes do not fit behind one, nor is "b" pulled up
      {"\u00e9\u00e9", 4, kUtf8, 2, "\u00e9"},  // never half a character
      {"caf\u00e9\u4e2d", 16, kRoman, 4, "caf\x8e"},
  };
  for (const Row& row : kRows) {
    std::array<char, 32> buffer;
    buffer.fill('#');
    EXPECT_EQ(KCStringGetCString(MakeString(row.utf8), buffer.data(), row.size, row.encoding), row.result)
        << row.utf8 << " " << row.size;
    EXPECT_EQ(buffer[static_cast<size_t>(row.size)], '#') << row.utf8 << ": written past the end";
    if (row.size == 0) continue;
    EXPECT_STREQ(buffer.data(), row.written) << row.utf8 << " " << row.size;
  }
}

}  // namespace
