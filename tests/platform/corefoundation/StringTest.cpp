// Encodings at their edges and the constants of CFSTR.
#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/platform/corefoundation/Support.h"

namespace {

using namespace std::string_literals;

constexpr CFStringEncoding kUtf8 = kCFStringEncodingUTF8;
constexpr CFStringEncoding kAscii = kCFStringEncodingASCII;
constexpr CFStringEncoding kMac = kCFStringEncodingMacRoman;
constexpr CFStringEncoding kUtf16 = kCFStringEncodingUTF16;

std::optional<std::u16string> Decoded(const std::string& bytes, CFStringEncoding encoding) {
  const test::Owned<CFStringRef> string(
      CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                              static_cast<CFIndex>(bytes.size()), encoding, false));
  return string ? std::optional(test::UnitsOf(string.get())) : std::nullopt;
}

TEST(StringTest, BytesAreDecodedWholeOrRefused) {
  const std::tuple<std::string, CFStringEncoding, std::u16string> rows[] = {
      {"a\0b"s, kUtf8, u"a\0b"s},
      {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", kUtf8, u"\u0080\u07FF\u0800\uFFFF"},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", kUtf8, u"\U00010000\U0010FFFF"},
      {"\xED\x9F\xBF\xEE\x80\x80", kUtf8, u"\uD7FF\uE000"},
      {"\xEF\xBB\xBF\xEF\xBB\xBF", kUtf8, u"\uFEFF"},  // one mark only
      {"\xFE\xFF", kUtf16, u"\xFFFE"},                 // not an external form: a unit like any other
  };
  for (const auto& [bytes, encoding, units] : rows)
    EXPECT_EQ(Decoded(bytes, encoding), units) << testing::PrintToString(bytes);
  for (const std::string bytes : {"\xC0\x80", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",  // overlong
                                  "\xED\xA0\x80", "\xED\xBF\xBF",                  // surrogates
                                  "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80",      // too large
                                  "\xFF", "\x80", "a\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xE2\x28\xA1"})
    EXPECT_EQ(Decoded(bytes, kUtf8), std::nullopt) << testing::PrintToString(bytes);
  EXPECT_EQ(Decoded("abc", kUtf16), std::nullopt);
}

// As many characters as fit and can be converted; a C string only when that is all of them.
TEST(StringTest, TextIsEncodedAsFarAsItGoes) {
  struct Row {
    std::u16string text;
    CFStringEncoding encoding;
    UInt8 loss;
    CFIndex size, converted, used;
    std::string bytes;
  };
  const std::u16string cut = u"ab\u00E9#";
  const Row rows[] = {
      {cut, kUtf8, 0, 10, 4, 5, "ab\xC3\xA9#"},
      {cut, kUtf8, 0, 3, 2, 2, "ab"},    // a character is never cut
      {cut, kAscii, 0, 10, 2, 2, "ab"},  // nor skipped
      {cut, kAscii, '?', 10, 4, 4, "ab?#"},
      {u"\U0001F600!", kAscii, '?', 10, 3, 2, "?!"},  // one byte for a pair
      {u"\xDC00!", kUtf8, 0, 10, 0, 0, ""},
      {u"\u221A\u00A9\u20AC\u0101", kMac, 0, 10, 3, 3, "\xC3\xA9\xDB"},
      {u"\U0001F600\u00E9", kUtf16, 0, 5, 2, 4, "\x3D\xD8\x00\xDE"s},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const auto string = test::MakeString(row.text);
    std::string buffer(16, '#');
    CFIndex used = -1;
    const CFRange range = CFRangeMake(0, CFStringGetLength(string.get()));
    EXPECT_EQ(CFStringGetBytes(string.get(), range, row.encoding, row.loss, false,
                               reinterpret_cast<UInt8*>(buffer.data()), row.size, &used),
              row.converted);
    EXPECT_EQ(used, row.used);
    EXPECT_EQ(buffer, row.bytes + std::string(buffer.size() - row.bytes.size(), '#'));
    if (row.loss != 0 || row.encoding == kUtf16) continue;
    const bool whole = row.converted == range.length;
    char text[17] = "################";
    EXPECT_EQ(CFStringGetCString(string.get(), text, row.size + 1, row.encoding), whole);
    EXPECT_STREQ(text, whole ? row.bytes.c_str() : "");
    EXPECT_EQ(text[row.size + 1], '#');
  }
}

TEST(StringTest, AConstantIsOneObjectForItsTextAndCannotBeReleased) {
  std::vector<CFStringRef> made(4);
  std::vector<std::thread> threads;
  for (auto& constant : made)
    threads.emplace_back([&constant] {
      const std::string copy = "a constant of this test";
      constant = __CFStringMakeConstantString(copy.c_str());
      for (int i = 0; i < 1000; ++i) CFRelease(constant);
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(made, std::vector(made.size(), made.front()));
  EXPECT_EQ(test::UnitsOf(made.front()), u"a constant of this test");
  EXPECT_EQ(test::UnitsOf(CFSTR("\x9F!")), u"\u00FC!");  // not UTF-8: the system encoding
}

TEST(StringTest, TextIsFoundAndReplaced) {
  struct Row {
    std::u16string text, needle;
    CFOptionFlags options;
    CFIndex at;
    bool isPrefix, isSuffix;
    std::u16string replaced, trimmed;
  };
  const Row rows[] = {
      {u"aXbXX", u"X", 0, 1, false, true, u"a--b----", u"aXb"},
      {u"aXbXX", u"x", 0, kCFNotFound, false, false, u"aXbXX", u"aXbXX"},
      {u"\u00C9\u0416x", u"\u00E9\u0436", kCFCompareCaseInsensitive, 0, false, false, u"--x",
       u"\u00C9\u0416x"},
      {u"aaa", u"aa", 0, 0, true, true, u"--a", u"a"},
      {u"abc", u"", 0, kCFNotFound, false, false, u"abc", u"abc"},
      {u"", u"a", 0, kCFNotFound, false, false, u"", u""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const auto text = test::MakeString(row.text);
    const auto needle = test::MakeString(row.needle);
    const auto found = CFStringFind(text.get(), needle.get(), row.options);
    EXPECT_EQ(found.location, row.at);
    EXPECT_EQ(found.length, row.at == kCFNotFound ? 0 : CFStringGetLength(needle.get()));
    EXPECT_EQ(CFStringHasPrefix(text.get(), needle.get()), row.isPrefix);
    EXPECT_EQ(CFStringHasSuffix(text.get(), needle.get()), row.isSuffix);

    const test::Owned<CFMutableStringRef> changed(CFStringCreateMutableCopy(nullptr, 0, text.get()));
    const CFRange all = CFRangeMake(0, CFStringGetLength(text.get()));
    CFStringFindAndReplace(changed.get(), needle.get(), CFSTR("--"), all, row.options);
    EXPECT_EQ(test::UnitsOf(changed.get()), row.replaced);
    const test::Owned<CFMutableStringRef> trimmed(CFStringCreateMutableCopy(nullptr, 0, text.get()));
    CFStringTrim(trimmed.get(), needle.get());
    EXPECT_EQ(test::UnitsOf(trimmed.get()), row.trimmed);
  }
}

TEST(StringTest, ACopyOfAStringThatChangesStaysAsItWas) {
  const test::Owned<CFMutableStringRef> text(CFStringCreateMutable(nullptr, 0));
  CFStringAppend(text.get(), CFSTR("A\u0130\U00010400b"));
  const test::Owned<CFStringRef> copy(CFStringCreateCopy(nullptr, text.get()));
  CFStringLowercase(text.get(), nullptr);
  EXPECT_EQ(test::UnitsOf(text.get()), u"ai\U00010428b");
  EXPECT_EQ(test::UnitsOf(copy.get()), u"A\u0130\U00010400b");
  EXPECT_EQ(CFStringCompare(text.get(), copy.get(), kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(text.get(), copy.get(), 0), kCFCompareGreaterThan);
  // Only within the range.
  EXPECT_EQ(CFStringFindAndReplace(text.get(), CFSTR("a"), CFSTR("x"), CFRangeMake(1, 2), 0), 0);
}

}  // namespace
