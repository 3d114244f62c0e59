// Arrays and dictionaries: keys and equality by value, ownership, and what "%@" shows of them.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <vector>

#include "tests/platform/corefoundation/Support.h"

namespace {

using test::Owned;
using test::Utf8Of;

Owned<CFNumberRef> Number(auto value, CFNumberType type) {
  return Owned<CFNumberRef>(CFNumberCreate(nullptr, type, &value));
}

Owned<CFMutableDictionaryRef> MakeDictionary() {
  return Owned<CFMutableDictionaryRef>(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                 &kCFTypeDictionaryValueCallBacks));
}

std::string Shown(CFTypeRef value) {
  const Owned<CFStringRef> text(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), value));
  return Utf8Of(text.get());
}

TEST(CollectionsTest, KeysAreFoundByValueAndABooleanIsNoNumber) {
  const auto integer = Number(int32_t{1}, kCFNumberSInt32Type);
  const auto real = Number(1.0, kCFNumberDoubleType);
  const auto dictionary = MakeDictionary();
  CFDictionarySetValue(dictionary.get(), integer.get(), CFSTR("number"));
  CFDictionarySetValue(dictionary.get(), kCFBooleanTrue, CFSTR("boolean"));
  CFDictionarySetValue(dictionary.get(), real.get(), CFSTR("number again"));
  const auto key = test::MakeString(u"text");
  CFDictionarySetValue(dictionary.get(), CFSTR("text"), CFSTR("first"));
  CFDictionarySetValue(dictionary.get(), key.get(), CFSTR("second"));

  EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 3);
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), integer.get()), CFSTR("number again"));
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), kCFBooleanTrue), CFSTR("boolean"));
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), CFSTR("text")), CFSTR("second"));
  EXPECT_FALSE(CFEqual(integer.get(), kCFBooleanTrue));

  // Arrays of one element hash alike.
  const void* elements[] = {CFSTR("a"), CFSTR("b")};
  const Owned<CFArrayRef> a(CFArrayCreate(nullptr, &elements[0], 1, &kCFTypeArrayCallBacks));
  const Owned<CFArrayRef> b(CFArrayCreate(nullptr, &elements[1], 1, &kCFTypeArrayCallBacks));
  CFDictionarySetValue(dictionary.get(), a.get(), CFSTR("of a"));
  EXPECT_FALSE(CFDictionaryContainsKey(dictionary.get(), b.get()));

  CFDictionaryRemoveValue(dictionary.get(), real.get());
  EXPECT_FALSE(CFDictionaryContainsKey(dictionary.get(), integer.get()));
  CFDictionaryRemoveAllValues(dictionary.get());
  EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 0);
}

TEST(CollectionsTest, EqualityIsByValueWhateverTheOrder) {
  const void* keys[] = {CFSTR("a"), CFSTR("b"), CFSTR("a")};
  const void* values[] = {kCFBooleanTrue, CFSTR("x"), CFSTR("not the first of its key")};
  const Owned<CFDictionaryRef> made(CFDictionaryCreate(
      nullptr, keys, values, 3, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  const auto grown = MakeDictionary();
  CFDictionarySetValue(grown.get(), CFSTR("b"), CFSTR("x"));
  EXPECT_FALSE(CFEqual(made.get(), grown.get()));
  CFDictionarySetValue(grown.get(), CFSTR("a"), kCFBooleanTrue);
  EXPECT_TRUE(CFEqual(made.get(), grown.get()));
  EXPECT_EQ(CFHash(made.get()), CFHash(grown.get()));

  // A copy does not follow its original; what was made whole cannot be changed.
  const Owned<CFDictionaryRef> copy(CFDictionaryCreateMutableCopy(nullptr, 0, grown.get()));
  CFDictionarySetValue(grown.get(), CFSTR("a"), kCFBooleanFalse);
  EXPECT_TRUE(CFEqual(copy.get(), made.get()));
  EXPECT_FALSE(CFEqual(copy.get(), grown.get()));
  EXPECT_DEATH(CFDictionaryRemoveValue(const_cast<CFMutableDictionaryRef>(made.get()), CFSTR("a")),
               "changed");
}

TEST(CollectionsTest, AContainerKeepsItsValuesAndGivesThemBack) {
  Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  const auto value = test::MakeString(u"value");
  const auto other = test::MakeString(u"other");
  CFArrayAppendValue(array.get(), value.get());
  const auto dictionary = MakeDictionary();
  CFDictionarySetValue(dictionary.get(), CFSTR("key"), array.get());
  EXPECT_EQ(CFGetRetainCount(value.get()), 2);
  array.reset();
  EXPECT_EQ(CFGetRetainCount(value.get()), 2);
  CFDictionarySetValue(dictionary.get(), CFSTR("key"), other.get());
  EXPECT_EQ(CFGetRetainCount(value.get()), 1);
  EXPECT_EQ(CFGetRetainCount(other.get()), 2);
}

TEST(CollectionsTest, TheTextOfATreeIsLaidOutByLevels) {
  const auto number = Number(int32_t{-3}, kCFNumberSInt32Type);
  const Owned<CFDateRef> date(CFDateCreate(nullptr, -0.5));
  const void* items[] = {CFSTR("plain"), CFSTR("two words \"\\\n"), number.get(), date.get()};
  const Owned<CFArrayRef> array(CFArrayCreate(nullptr, items, 4, &kCFTypeArrayCallBacks));
  const auto dictionary = MakeDictionary();
  CFDictionarySetValue(dictionary.get(), CFSTR("z"), CFSTR(""));
  CFDictionarySetValue(dictionary.get(), CFSTR("list"), array.get());
  EXPECT_EQ(Shown(dictionary.get()), R"({
    list =     (
        plain,
        "two words \"\\\n",
        "-3",
        "2000-12-31 23:59:59 +0000"
    );
    z = "";
})");
  EXPECT_EQ(Shown(kCFBooleanFalse), "false");
}

TEST(CollectionsTest, IdentifiersAreRandomOnesAndDiffer) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const Owned<CFUUIDRef> uuid(CFUUIDCreate(nullptr));
    const Owned<CFStringRef> text(CFUUIDCreateString(nullptr, uuid.get()));
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    EXPECT_TRUE(std::regex_match(Utf8Of(text.get()), form)) << Utf8Of(text.get());
    EXPECT_TRUE(seen.insert(Utf8Of(text.get())).second);
  }
}

}  // namespace
