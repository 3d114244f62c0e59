// Formats: printf's conversions, "%@", and what is refused.
#include <gtest/gtest.h>

#include <cstdarg>
#include <random>

#include "platform/corefoundation/FormatParser.h"
#include "tests/platform/corefoundation/Support.h"

namespace {

using test::Owned;

std::string Format(const char* format, ...) {
  const Owned<CFStringRef> text(CFStringCreateWithCString(nullptr, format, kCFStringEncodingUTF8));
  va_list arguments;
  va_start(arguments, format);
  const Owned<CFStringRef> made(
      CFStringCreateWithFormatAndArguments(nullptr, nullptr, text.get(), arguments));
  va_end(arguments);
  return test::Utf8Of(made.get());
}

TEST(FormatTest, ShowsIntegersOfEveryLength) {
  EXPECT_EQ(Format("%d|%i|%u", -1, 42, -1), "-1|42|4294967295");
  EXPECT_EQ(Format("%hhu|%hhd|%hu|%hd", 300, 200, 65537, 40000), "44|-56|1|-25536");
  EXPECT_EQ(Format("%ld|%lld|%qd|%jd", -1L, INT64_MIN, 5LL, 6L), "-1|-9223372036854775808|5|6");
  EXPECT_EQ(Format("%lu|%zu|%td", ~0UL, size_t{7}, -8L), "18446744073709551615|7|-8");
  EXPECT_EQ(Format("%x|%X|%#x|%#o|%o", -1, 255, 255, 8, 9), "ffffffff|FF|0xff|010|11");
  EXPECT_EQ(Format("%D|%U|%O", -3L, ~0UL, 8L), "-3|18446744073709551615|10");
}

TEST(FormatTest, HonoursFlagsWidthAndPrecision) {
  EXPECT_EQ(Format("[%5d|%-5d|%05d|%+d|% d|%.3d|%6.3d]", 42, 42, 42, 42, 42, 7, 7),
            "[   42|42   |00042|+42| 42|007|   007]");
  EXPECT_EQ(Format("[%*d|%*d|%.*f|%.*f]", 4, 1, -4, 2, 1, 2.55, -1, 2.5), "[   1|2   |2.5|2.500000]");
  EXPECT_EQ(Format("%5.1f|%e|%g|%G|%a|%Lf", 3.14159, 1.0, 1e-9, 1e20, 1.0, 1.5L),
            "  3.1|1.000000e+00|1e-09|1E+20|0x1p+0|1.500000");
  EXPECT_EQ(Format("[%4s|%-4s|%.2s|%.0s|%.s]", "ab", "ab", "abc", "abc", "abc"), "[  ab|ab  |ab||]");
  EXPECT_EQ(Format("[%4@|%-4@|%.1@]", CFSTR("ab"), CFSTR("ab"), CFSTR("ab")), "[  ab|ab  |a]");
}

TEST(FormatTest, TakesArgumentsByPosition) {
  EXPECT_EQ(Format("%2$@ %1$d %2$@", 7, CFSTR("x")), "x 7 x");
  EXPECT_EQ(Format("[%1$*2$d|%3$.*2$f]", 5, 3, 0.5), "[  5|0.500]");
  EXPECT_EQ(Format("%9$d %8$d %7$d %6$d %5$d %4$d %3$d %2$d %1$d", 1, 2, 3, 4, 5, 6, 7, 8, 9),
            "9 8 7 6 5 4 3 2 1");
}

TEST(FormatTest, ShowsTextAndCharacters) {
  const char unterminated[] = {'a', 'b'};
  const UniChar wide[] = {0xE9, 0x263A, 0};
  EXPECT_EQ(Format("%s|%s", "\xC3\xA9", nullptr), "\u221A\u00A9|(null)");
  EXPECT_EQ(Format("%.2s|%.*s", unterminated, 1, unterminated), "ab|a");
  EXPECT_EQ(Format("%S|%ls|%.1S|%S", wide, wide, wide, nullptr), "\u00E9\u263A|\u00E9\u263A|\u00E9|(null)");
  EXPECT_EQ(Format("%c%c%c%C%3c|", 'a', 0, 0x8E, 0x263A, 'z'), "a\u00E9\u263A  z|");
  EXPECT_EQ(Format("%p|%p|%6p", reinterpret_cast<void*>(0xAB), nullptr, nullptr), "0xab|0x0|   0x0");
  EXPECT_EQ(Format("100%% gr\u00F6\u00DFer \U0001F600 %d", 1), "100% gr\u00F6\u00DFer \U0001F600 1");
}

TEST(FormatTest, ShowsValues) {
  const int five = 5;
  const double tenth = 0.1;
  const Owned<CFNumberRef> integer(CFNumberCreate(nullptr, kCFNumberIntType, &five));
  const Owned<CFNumberRef> real(CFNumberCreate(nullptr, kCFNumberDoubleType, &tenth));
  const Owned<CFDataRef> data(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("\x01\xAB"), 2));
  EXPECT_EQ(Format("%@|%@|%@|%@", nullptr, CFSTR("\u00FC"), integer.get(), real.get()),
            "(null)|\u00FC|5|0.10000000000000001");
  EXPECT_EQ(Format("%@", test::MakeUrl("/a b", true).get()), "file:///a%20b/");
  const Owned<CFStringRef> description(CFCopyDescription(data.get()));
  EXPECT_EQ(Format("%@", data.get()), test::Utf8Of(description.get()));
  EXPECT_NE(test::Utf8Of(description.get()).find("length = 2, bytes = 0x01ab"), std::string::npos);
}

TEST(FormatTest, LeavesWhatIsNoConversionAsItIsWritten) {
  for (const char* text : {"%", "a%", "%5", "%-", "%.", "%*", "%l", "%1$", "%y", "%5.2k", "%\u00E9", "%0$d",
                           "%2$d", "%99999999999999999999$d", "%1$*9$d", "%1$*1$f", "%-+"}) {
    EXPECT_EQ(Format(text), text);
  }
  // What is refused takes no argument.
  EXPECT_EQ(Format("%y %d %*y %d", 1, 2), "%y 1 %*y 2");
  EXPECT_EQ(Format("%1$d %1$f %1$d %3$d", 1), "1 %1$f 1 %3$d");
}

TEST(FormatTest, NeverWritesToMemoryAndNeverFillsIt) {
  long long target = 77;
  EXPECT_EQ(Format("ab%nc%lln%d", &target, &target, 5), "abc5");
  EXPECT_EQ(target, 77);
  EXPECT_EQ(Format("%2147483647d%-9999999999d", 1, 2).size(), 2 * 65535U);
  EXPECT_EQ(Format("%*s|", INT32_MIN, "x").size(), 65536U);
  EXPECT_EQ(Format("%.2147483647d", 1).size(), 65535U);
  EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, nullptr), nullptr);
}

// Whatever the text: each conversion finds its arguments in the list, of the kind that the list says.
TEST(FormatTest, RandomFormatsNeverReachBeyondTheirArguments) {
  constexpr std::u16string_view kAlphabet = u"%%%%%%123456789$$**..0-+ #hlLqzdusf@cCSnpx\u00E9";
  std::mt19937 random(20);
  size_t conversions = 0;
  for (int round = 0; round < 50000; ++round) {
    std::u16string format(random() % 24, u' ');
    for (auto& unit : format) unit = kAlphabet[random() % kAlphabet.size()];
    const auto parsed = platform::cf::ParseFormat(format);
    for (const auto kind : parsed.arguments) ASSERT_NE(kind, platform::cf::ArgumentKind::kNone);
    for (const auto& piece : parsed.pieces) {
      const auto* conversion = std::get_if<platform::cf::Conversion>(&piece);
      if (conversion == nullptr || conversion->letter == u'%') continue;
      ++conversions;
      ASSERT_LT(conversion->argument, parsed.arguments.size());
      for (const auto& size : {conversion->width, conversion->precision}) {
        if (!size.argument) continue;
        ASSERT_LT(*size.argument, parsed.arguments.size());
        ASSERT_EQ(parsed.arguments[*size.argument], platform::cf::ArgumentKind::kInt);
      }
      if (conversion->letter == u'@') {
        ASSERT_EQ(parsed.arguments[conversion->argument], platform::cf::ArgumentKind::kPointer);
      }
    }
  }
  EXPECT_GT(conversions, 10000U);
}

}  // namespace
