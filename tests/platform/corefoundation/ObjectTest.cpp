// Reference counts, equality by value, and byte buffers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/platform/corefoundation/Support.h"

namespace {

using test::Owned;

Owned<CFDataRef> MakeData(const std::string& bytes) {
  return Owned<CFDataRef>(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                       static_cast<CFIndex>(bytes.size())));
}

Owned<CFNumberRef> Integer(int64_t value) {
  return Owned<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}
Owned<CFNumberRef> Real(double value) {
  return Owned<CFNumberRef>(CFNumberCreate(nullptr, kCFNumberFloat64Type, &value));
}

// A lost retain shows as a release too many, a lost release as a leak.
TEST(ObjectTest, ThreadsShareAValueAndTheLastFreesIt) {
  for (int round = 0; round < 100; ++round) {
    auto data = MakeData("bytes");
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
      threads.emplace_back([own = static_cast<CFDataRef>(CFRetain(data.get()))] {
        for (int use = 0; use < 500; ++use) CFRelease(CFRetain(own));
        CFRelease(own);
      });
    data.reset();
    for (auto& thread : threads) thread.join();
  }
}

TEST(ObjectTest, ValuesAreEqualByContentAndType) {
  std::string bytes = "x";
  const auto data = MakeData(bytes);
  bytes[0] = 'z';  // the value has a copy
  EXPECT_TRUE(CFEqual(data.get(), MakeData("x").get()));
  EXPECT_EQ(CFHash(data.get()), CFHash(MakeData("x").get()));
  EXPECT_FALSE(CFEqual(data.get(), MakeData("y").get()));
  EXPECT_FALSE(CFEqual(data.get(), CFSTR("x")));
  EXPECT_TRUE(CFEqual(CFSTR("x"), test::MakeString(u"x").get()));
  EXPECT_EQ(CFStringCompare(CFSTR("b"), CFSTR("ab"), 0), kCFCompareGreaterThan);
  EXPECT_EQ(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("a"), -1), nullptr);
}

TEST(ObjectTest, NumbersAreEqualWhateverHoldsThemAndTellWhatTheyLose) {
  EXPECT_TRUE(CFEqual(Integer(1).get(), Real(1.0).get()));
  EXPECT_EQ(CFHash(Integer(1).get()), CFHash(Real(1.0).get()));
  EXPECT_FALSE(CFEqual(Integer((1LL << 53) + 1).get(), Real(9007199254740992.0).get()));
  const std::tuple<Owned<CFNumberRef>, bool, int32_t> rows[] = {
      {Integer(-5), true, -5}, {Integer(2147483648), false, INT32_MIN}, {Real(5.0), true, 5},
      {Real(-3.7), false, -3}, {Real(1e300), false, INT32_MAX},         {Real(NAN), false, 0},
  };
  for (const auto& [number, exact, value] : rows) {
    int32_t written[2] = {77, 77};
    EXPECT_EQ(CFNumberGetValue(number.get(), kCFNumberSInt32Type, written), exact) << value;
    EXPECT_THAT(written, testing::ElementsAre(value, 77));
  }
}

TEST(ObjectDeathTest, ForbiddenCallsEndTheProcess) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_DEATH(CFRelease(nullptr), "CFRelease of null");
  EXPECT_DEATH(CFStringGetBytes(CFSTR("a"), CFRangeMake(1, INT64_MAX), 0, 0, false, nullptr, 0, nullptr),
               "beyond its string");
}

}  // namespace
