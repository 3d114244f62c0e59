// Conversions between numbers, and which numbers are equal.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "tests/platform/corefoundation/Support.h"

namespace {

using test::Owned;

Owned<CFNumberRef> Integer(int64_t value) {
  return Owned<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}
Owned<CFNumberRef> Real(double value) {
  return Owned<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberFloat64Type, &value));
}

TEST(NumberTest, IntegersTellWhatTheyLose) {
  struct Row {
    Owned<CFNumberRef> number;
    CFNumberType type;
    bool exact;
    int64_t value;
  };
  const Row rows[] = {
      {Integer(128), kCFNumberSInt8Type, true, -128},
      {Integer(255), kCFNumberCharType, true, -1},
      {Integer(256), kCFNumberSInt8Type, false, 0},
      {Integer(-129), kCFNumberSInt8Type, false, 127},
      {Integer(65535), kCFNumberSInt16Type, true, -1},
      {Integer(70000), kCFNumberShortType, false, 4464},
      {Integer(2147483648), kCFNumberSInt32Type, false, -2147483648},
      {Integer(-2147483648), kCFNumberIntType, true, -2147483648},
      {Integer(INT64_MIN), kCFNumberLongLongType, true, INT64_MIN},
      {Real(3.7), kCFNumberSInt32Type, false, 3},
      {Real(-3.7), kCFNumberCFIndexType, false, -3},
      {Real(5.0), kCFNumberLongType, true, 5},
      {Real(1e300), kCFNumberSInt32Type, false, INT32_MAX},
      {Real(-1e300), kCFNumberSInt64Type, false, INT64_MIN},
      {Real(9223372036854775808.0), kCFNumberSInt64Type, false, INT64_MAX},
      {Real(std::nan("")), kCFNumberSInt16Type, false, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    // Both kinds of leftovers, so that a missing or too wide write shows.
    for (const int fill : {0x55, 0xAA}) {
      unsigned char memory[9];
      std::memset(memory, fill, sizeof memory);
      EXPECT_EQ(CFNumberGetValue(row.number.get(), row.type, memory), row.exact);
      const size_t size = row.type == kCFNumberSInt8Type || row.type == kCFNumberCharType     ? 1
                          : row.type == kCFNumberSInt16Type || row.type == kCFNumberShortType ? 2
                          : row.type == kCFNumberSInt32Type || row.type == kCFNumberIntType   ? 4
                                                                                              : 8;
      EXPECT_EQ(std::memcmp(memory, &row.value, size), 0);  // little-endian
      EXPECT_EQ(memory[size], fill);
    }
  }
}

TEST(NumberTest, RealsTellWhatTheyLose) {
  float narrow = 0;
  double wide = 0;
  EXPECT_TRUE(CFNumberGetValue(Real(0.5).get(), kCFNumberFloatType, &narrow));
  EXPECT_EQ(narrow, 0.5F);
  EXPECT_FALSE(CFNumberGetValue(Real(0.1).get(), kCFNumberFloat32Type, &narrow));
  EXPECT_EQ(narrow, 0.1F);
  EXPECT_TRUE(CFNumberGetValue(Integer(1LL << 53).get(), kCFNumberDoubleType, &wide));
  EXPECT_FALSE(CFNumberGetValue(Integer((1LL << 53) + 1).get(), kCFNumberDoubleType, &wide));
  EXPECT_FALSE(CFNumberGetValue(Integer(INT64_MAX).get(), kCFNumberDoubleType, &wide));
  EXPECT_EQ(wide, 9223372036854775808.0);
}

TEST(NumberTest, EqualNumbersAreEqualWhateverHoldsThem) {
  EXPECT_TRUE(CFEqual(Integer(1).get(), Real(1.0).get()));
  EXPECT_EQ(CFHash(Integer(1).get()), CFHash(Real(1.0).get()));
  EXPECT_TRUE(CFEqual(Real(std::nan("")).get(), Real(std::nan("")).get()));
  EXPECT_FALSE(CFEqual(Integer((1LL << 53) + 1).get(), Real(9007199254740992.0).get()));
  EXPECT_FALSE(CFEqual(Integer(INT64_MAX).get(), Real(9223372036854775808.0).get()));
  EXPECT_FALSE(CFEqual(Integer(1).get(), CFSTR("1")));
  const Owned<CFStringRef> infinite(
      CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), Real(HUGE_VAL).get()));
  EXPECT_EQ(test::Utf8Of(infinite.get()), "+infinity");
}

}  // namespace
