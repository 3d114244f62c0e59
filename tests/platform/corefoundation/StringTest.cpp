// Encodings at their edges, comparison, and the constants of CFSTR.
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <thread>
#include <vector>

#include "tests/platform/corefoundation/Support.h"

namespace {

using test::MakeString;
using test::Owned;
using test::UnitsOf;

constexpr CFStringEncoding kUtf8 = kCFStringEncodingUTF8;
constexpr CFStringEncoding kAscii = kCFStringEncodingASCII;
constexpr CFStringEncoding kMac = kCFStringEncodingMacRoman;
constexpr CFStringEncoding kLatin = kCFStringEncodingISOLatin1;
constexpr CFStringEncoding kUtf16 = kCFStringEncodingUTF16;

using namespace std::string_literals;

TEST(StringTest, BytesAreDecodedWholeOrRefused) {
  struct Row {
    std::string bytes;
    CFStringEncoding encoding;
    std::optional<std::u16string> units;
  };
  const Row rows[] = {
      {"", kUtf8, u""s},
      {"a\0b"s, kUtf8, u"a\0b"s},
      {"\xC2\x80\xDF\xBF", kUtf8, u"\u0080\u07FF"s},
      {"\xE0\xA0\x80\xEF\xBF\xBF", kUtf8, u"\u0800\uFFFF"s},
      {"\xEF\xBF\xBE", kUtf8, u"\uFFFE"s},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", kUtf8, u"\U00010000\U0010FFFF"s},
      {"\xED\x9F\xBF\xEE\x80\x80", kUtf8, u"\uD7FF\uE000"s},
      {"\xEF\xBB\xBFx", kUtf8, u"x"s},
      {"\xEF\xBB\xBF\xEF\xBB\xBF", kUtf8, u"\uFEFF"s},  // one mark only
      {"\xC0\x80", kUtf8, std::nullopt},                // overlong
      {"\xC1\xBF", kUtf8, std::nullopt},
      {"\xE0\x9F\xBF", kUtf8, std::nullopt},
      {"\xF0\x8F\xBF\xBF", kUtf8, std::nullopt},
      {"\xED\xA0\x80", kUtf8, std::nullopt},  // surrogates
      {"\xED\xBF\xBF", kUtf8, std::nullopt},
      {"\xF4\x90\x80\x80", kUtf8, std::nullopt},      // above 10FFFF
      {"\xF8\x88\x80\x80\x80", kUtf8, std::nullopt},  // five bytes
      {"\xFF", kUtf8, std::nullopt},
      {"\x80", kUtf8, std::nullopt},
      {"a\xC3", kUtf8, std::nullopt},  // cut
      {"\xE2\x82", kUtf8, std::nullopt},
      {"\xF0\x9F\x98", kUtf8, std::nullopt},
      {"\xE2\x28\xA1", kUtf8, std::nullopt},
      {"\x7F", kAscii, u"\u007F"s},
      {"\x80", kAscii, std::nullopt},
      {"\xC3\xA9\xDB\xF0\xFF", kMac, u"\u221A\u00A9\u20AC\uF8FF\u02C7"s},
      {"\x80\xE9\xFF", kLatin, u"\u0080\u00E9\u00FF"s},
      {"\xFE\xFF", kUtf16, u"\xFFFE"s},  // not an external form: a unit like any other
      {"abc", kUtf16, std::nullopt},
      {"a", kCFStringEncodingInvalidId, std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const Owned<CFStringRef> string(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(row.bytes.data()),
                                static_cast<CFIndex>(row.bytes.size()), row.encoding, false));
    ASSERT_EQ(string != nullptr, row.units.has_value());
    if (string) {
      EXPECT_EQ(UnitsOf(string.get()), *row.units);
    }
  }
  EXPECT_EQ(CFStringCreateWithCString(nullptr, nullptr, kUtf8), nullptr);
  // What follows the count is not looked at.
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>("\xE2\x82\xAC"), 2, kUtf8, false),
            nullptr);
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>("a"), -1, kUtf8, false), nullptr);
}

TEST(StringTest, AByteOrderMarkTellsTheOrderOfAnExternalForm) {
  for (const std::string& bytes : {"\xFE\xFF\x26\x3A"s, "\xFF\xFE\x3A\x26"s}) {
    const Owned<CFStringRef> string(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), 4, kUtf16, true));
    EXPECT_EQ(UnitsOf(string.get()), u"\u263A");
  }
}

TEST(StringTest, GetBytesStopsWhereItMust) {
  struct Row {
    std::u16string text;
    CFStringEncoding encoding;
    UInt8 loss;
    CFIndex size;  // 0 counts only
    CFIndex converted;
    std::string bytes;
  };
  const Row rows[] = {
      {u"a\u00E9b", kUtf8, 0, 10, 3,
       "a\xC3\xA9"
       "b"},
      {u"a\u00E9b", kUtf8, 0, 2, 1, "a"},  // a character is never cut
      {u"\u20AC", kUtf8, 0, 2, 0, ""},
      {u"\U0001F600x", kUtf8, 0, 3, 0, ""},
      {u"\U0001F600x", kUtf8, 0, 4, 2, "\xF0\x9F\x98\x80"},
      {u"a\xD800"
       u"b",
       kUtf8, 0, 10, 1, "a"},
      {u"a\xDC00"
       u"b",
       kUtf8, '?', 10, 3, "a?b"},
      {u"ab\u00E9"
       u"cd",
       kAscii, 0, 10, 2, "ab"},  // not skipped
      {u"ab\u00E9"
       u"cd",
       kAscii, '?', 10, 5, "ab?cd"},
      {u"ab\u00E9"
       u"cd",
       kAscii, '?', 3, 3, "ab?"},
      {u"\U0001F600!", kAscii, '?', 10, 3, "?!"},  // one byte for a pair
      {u"\u221A\u00A9\u20AC\u0101", kMac, 0, 10, 3, "\xC3\xA9\xDB"},
      {u"\u00FF\u0100", kLatin, 0, 10, 1, "\xFF"},
      {u"\U0001F600\u00E9", kUtf16, 0, 5, 2, "\x3D\xD8\x00\xDE"s},
      {u"a", kCFStringEncodingInvalidId, '?', 10, 0, ""},
      {u"abc", kUtf8, 0, -1, 0, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const auto string = MakeString(row.text);
    const CFRange whole = CFRangeMake(0, CFStringGetLength(string.get()));
    std::string buffer(16, '#');
    CFIndex used = -1;
    EXPECT_EQ(CFStringGetBytes(string.get(), whole, row.encoding, row.loss, false,
                               reinterpret_cast<UInt8*>(buffer.data()), row.size, &used),
              row.converted);
    ASSERT_EQ(used, static_cast<CFIndex>(row.bytes.size()));
    EXPECT_EQ(buffer, row.bytes + std::string(buffer.size() - row.bytes.size(), '#'));
  }
}

TEST(StringTest, GetBytesCountsWithoutABufferAndWithoutRoom) {
  const auto string = MakeString(u"a\u20AC\u00E9");
  const CFRange tail = CFRangeMake(1, 2);
  UInt8 untouched = 7;
  CFIndex used = 0;
  EXPECT_EQ(CFStringGetBytes(string.get(), tail, kUtf8, 0, false, nullptr, 0, &used), 2);
  EXPECT_EQ(used, 5);
  EXPECT_EQ(CFStringGetBytes(string.get(), tail, kUtf8, 0, false, &untouched, 0, &used), 2);
  EXPECT_EQ(used, 5);
  EXPECT_EQ(untouched, 7);
  EXPECT_EQ(CFStringGetBytes(string.get(), tail, kUtf16, 0, true, nullptr, 0, &used), 2);
  EXPECT_EQ(used, 6);                           // with its mark
  const auto pair = MakeString(u"\U0001F600");  // of which a range holds one half
  EXPECT_EQ(CFStringGetBytes(pair.get(), CFRangeMake(0, 1), kUtf8, 0, false, nullptr, 0, &used), 0);
}

TEST(StringTest, GetCStringIsAllOrNothing) {
  struct Row {
    std::u16string text;
    CFStringEncoding encoding;
    CFIndex size;
    bool done;
  };
  const Row rows[] = {
      {u"abc", kAscii, 4, true},     {u"abc", kAscii, 3, false},   {u"", kUtf8, 1, true},
      {u"", kUtf8, 0, false},        {u"\u00E9", kUtf8, 3, true},  {u"\u00E9", kUtf8, 2, false},
      {u"\u00E9", kAscii, 8, false}, {u"\xD800", kUtf8, 8, false}, {u"x\xDFFF", kUtf8, 8, false},
      {u"\u00E9", kMac, 2, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const auto string = MakeString(row.text);
    char buffer[10] = "#########";
    EXPECT_EQ(CFStringGetCString(string.get(), buffer, row.size, row.encoding), row.done);
    EXPECT_EQ(buffer[row.size], '#');
    if (!row.done && row.size > 0) {
      EXPECT_STREQ(buffer, "");
    }
  }
}

TEST(StringTest, TheMaximumSizeDoesNotOverflow) {
  constexpr CFIndex kMax = std::numeric_limits<CFIndex>::max();
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(5, kUtf8), 15);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(5, kUtf16), 10);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(5, kMac), 5);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kMax / 3, kUtf8), kMax / 3 * 3);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kMax / 3 + 1, kUtf8), kCFNotFound);
}

TEST(StringTest, ComparesByUnitAndFindsNothingEmpty) {
  const auto astral = MakeString(u"\U0001F600");
  const auto late = MakeString(u"\uFFFF");
  EXPECT_EQ(CFStringCompare(astral.get(), late.get(), 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("b"), CFSTR("ab"), 0), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(CFSTR("a"), MakeString(u"a").get(), 0), kCFCompareEqualTo);
  EXPECT_TRUE(CFStringHasPrefix(CFSTR("{x}"), CFSTR("{")));
  EXPECT_FALSE(CFStringHasPrefix(CFSTR("x"), CFSTR("xx")));
  EXPECT_TRUE(CFStringHasSuffix(CFSTR("{x}"), CFSTR("x}")));
  EXPECT_FALSE(CFStringHasPrefix(CFSTR("x"), CFSTR("")));
  EXPECT_FALSE(CFStringHasSuffix(CFSTR(""), CFSTR("")));
}

TEST(StringTest, AConstantIsOneObjectForItsTextAndCannotBeReleased) {
  const std::string text = "a constant of this test";
  std::vector<CFStringRef> made(4);
  std::vector<std::thread> threads;
  for (auto& constant : made) {
    threads.emplace_back([&] {
      const std::string copy = text;
      constant = __CFStringMakeConstantString(copy.c_str());
      for (int i = 0; i < 1000; ++i) CFRelease(constant);
    });
  }
  for (auto& thread : threads) thread.join();
  for (const CFStringRef constant : made) EXPECT_EQ(constant, made.front());
  EXPECT_EQ(test::Utf8Of(made.front()), text);
  EXPECT_EQ(UnitsOf(CFSTR("\u00FC")), u"\u00FC");
  EXPECT_EQ(UnitsOf(CFSTR("\x9F!")), u"\u00FC!");  // not UTF-8: the system encoding
}

}  // namespace
