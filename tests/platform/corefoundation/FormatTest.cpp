// Formats: printf's conversions, "%@", and what is refused.
#include <gtest/gtest.h>

#include <cstdarg>

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

TEST(FormatTest, ShowsNumbersOfEveryLengthInTheirFieldsAndPlaces) {
  EXPECT_EQ(Format("%hhu|%hhd|%hu|%hd|%u", 300, 200, 65537, 40000, -1), "44|-56|1|-25536|4294967295");
  EXPECT_EQ(Format("%lld|%lu|%zu|%td", INT64_MIN, ~0UL, size_t{7}, -8L),
            "-9223372036854775808|18446744073709551615|7|-8");
  EXPECT_EQ(Format("%x|%X|%#x|%#o|%D|%U", -1, 255, 255, 8, -3L, ~0UL),
            "ffffffff|FF|0xff|010|-3|18446744073709551615");
  EXPECT_EQ(Format("[%5d|%-5d|%05d|%+d|% d|%6.3d]", 42, 42, 42, 42, 42, 7),
            "[   42|42   |00042|+42| 42|   007]");
  EXPECT_EQ(Format("[%*d|%*d|%.*f|%.*f|%g|%a|%Lf]", 4, 1, -4, 2, 1, 2.55, -1, 2.5, 1e-9, 1.0, 1.5L),
            "[   1|2   |2.5|2.500000|1e-09|0x1p+0|1.500000]");
  EXPECT_EQ(Format("%2$@ [%1$*3$d] %2$@ %4$.*3$f", 7, CFSTR("x"), 3, 0.5), "x [  7] x 0.500");
}

TEST(FormatTest, ShowsTextAndValues) {
  const char unterminated[] = {'a', 'b'};
  const UniChar wide[] = {0xE9, 0x263A, 0};
  EXPECT_EQ(Format("%s|%s|%4s|%-4s|%.0s|", "\xC3\xA9", nullptr, "ab", "ab", "abc"),
            "\u221A\u00A9|(null)|  ab|ab  ||");
  EXPECT_EQ(Format("%S|%.1S|%S|%c%C%3c", wide, wide, nullptr, 0x8E, 0x263A, 'z'),
            "\u00E9\u263A|\u00E9|(null)|\u00E9\u263A  z");
  EXPECT_EQ(Format("%.2s|%.*s|%p|%6p|100%% \U0001F600", unterminated, 1, unterminated,
                   reinterpret_cast<void*>(0xAB), nullptr),
            "ab|a|0xab|   0x0|100% \U0001F600");
  EXPECT_EQ(
      Format("%@|%4@|%.1@|%@", nullptr, CFSTR("\u00FC"), CFSTR("ab"), test::MakeUrl("/a b", true).get()),
      "(null)|   \u00FC|a|file:///a%20b/");
}

TEST(FormatTest, LeavesWhatIsNoConversionAsItIsWritten) {
  for (const char* text : {"%", "a%", "%5", "%.", "%*", "%l", "%1$", "%y", "%5.2k", "%\u00E9", "%0$d", "%2$d",
                           "%99999999999999999999$d", "%1$*9$d", "%1$*1$f"})
    EXPECT_EQ(Format(text), text);
  // What is refused takes no argument.
  EXPECT_EQ(Format("%y %d %*y %d", 1, 2), "%y 1 %*y 2");
  EXPECT_EQ(Format("%1$d %1$f %1$d %3$d", 1), "1 %1$f 1 %3$d");
}

TEST(FormatTest, NeverWritesToMemoryAndNeverFillsIt) {
  long long target = 77;
  EXPECT_EQ(Format("ab%nc%lln%d", &target, &target, 5), "abc5");
  EXPECT_EQ(target, 77);
  EXPECT_EQ(Format("%2147483647d%-9999999999d", 1, 2).size(), 2 * 65535U);
  EXPECT_EQ(Format("%*s|%.2147483647d", INT32_MIN, "x", 1).size(), 65536U + 65535U);
}

}  // namespace
