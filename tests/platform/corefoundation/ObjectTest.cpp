// Reference counts, equality by value, and byte buffers.
#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

#include "tests/platform/corefoundation/Support.h"

namespace {

using test::Owned;

Owned<CFDataRef> MakeData(const std::string& bytes) {
  return Owned<CFDataRef>(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                       static_cast<CFIndex>(bytes.size())));
}

TEST(ObjectTest, ThreadsMayRetainAndReleaseOneValue) {
  const auto string = test::MakeString(u"shared");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, own = static_cast<CFStringRef>(CFRetain(string.get()))] {
      for (int round = 0; round < 5000; ++round) {
        CFRelease(CFRetain(own));
        EXPECT_EQ(CFStringGetLength(own), 6);
      }
      CFRelease(own);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(CFGetRetainCount(string.get()), 1);
}

TEST(ObjectTest, TheLastOfSeveralThreadsFreesTheValue) {
  for (int round = 0; round < 200; ++round) {
    auto data = MakeData("bytes");
    CFRetain(data.get());
    std::thread other([value = data.get()] { CFRelease(value); });
    data.reset();
    other.join();
  }
}

TEST(ObjectTest, ValuesAreEqualByContentAndType) {
  const auto a = MakeData("x");
  const auto b = MakeData("x");
  EXPECT_TRUE(CFEqual(a.get(), b.get()));
  EXPECT_EQ(CFHash(a.get()), CFHash(b.get()));
  EXPECT_FALSE(CFEqual(a.get(), MakeData("y").get()));
  EXPECT_FALSE(CFEqual(a.get(), MakeData("").get()));
  EXPECT_FALSE(CFEqual(a.get(), CFSTR("x")));
  EXPECT_TRUE(CFEqual(CFSTR("x"), test::MakeString(u"x").get()));
  EXPECT_EQ(CFHash(CFSTR("x")), CFHash(test::MakeString(u"x").get()));
  EXPECT_EQ(CFGetTypeID(a.get()), CFDataGetTypeID());
  EXPECT_NE(CFDataGetTypeID(), CFStringGetTypeID());
}

TEST(ObjectTest, DataIsACopy) {
  std::string bytes = "abc";
  const auto data = MakeData(bytes);
  bytes[0] = 'z';
  ASSERT_EQ(CFDataGetLength(data.get()), 3);
  EXPECT_EQ(CFDataGetBytePtr(data.get())[0], 'a');
  const Owned<CFDataRef> empty(CFDataCreate(nullptr, nullptr, 0));
  EXPECT_EQ(CFDataGetLength(empty.get()), 0);
  EXPECT_EQ(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("a"), -1), nullptr);
}

TEST(ObjectDeathTest, ForbiddenCallsEndTheProcess) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_DEATH(CFRelease(nullptr), "CFRelease of null");
  EXPECT_DEATH(CFRetain(nullptr), "CFRetain of null");
  EXPECT_DEATH(CFStringGetCharacterAtIndex(CFSTR("a"), 1), "beyond its string");
  EXPECT_DEATH(CFStringGetBytes(CFSTR("a"), CFRangeMake(1, INT64_MAX), 0, 0, false, nullptr, 0, nullptr),
               "beyond its string");
}

}  // namespace
