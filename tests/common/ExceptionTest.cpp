// The exception's code and text, and the references it shares.
#include "common/KCException.h"

#include <gtest/gtest.h>

#include <string>

namespace {

StCFTypeRef<CFStringRef> MakeString(const std::string& utf8) {
  return StCFTypeRef<CFStringRef>{
      CFStringCreateWithCString(kCFAllocatorDefault, utf8.c_str(), kCFStringEncodingUTF8)};
}

TEST(ExceptionTest, WhatIsTheTextInTheSystemsEncoding) {
  const std::string longest(255, 'x');
  EXPECT_EQ(KCException(1).what(), nullptr);
  EXPECT_STREQ(KCException(1, MakeString("caf\u00e9")).what(), "caf\x8e");
  EXPECT_STREQ(KCException(1, MakeString(longest)).what(), longest.c_str());
  EXPECT_EQ(KCException(1, MakeString(longest + "x")).what(), nullptr) << "does not fit";
  EXPECT_EQ(KCException(1, MakeString("\u4e2d")).what(), nullptr) << "cannot be encoded";
}

TEST(ExceptionTest, CopiesShareTheText) {
  const StCFTypeRef<CFStringRef> text = MakeString("a text that is no constant");
  {
    KCException first(-50);
    try {
      KCException::Throw(5, text);
    } catch (const KCException& thrown) {
      first = thrown;
    }
    const KCException second(first);
    EXPECT_EQ(CFGetRetainCount(text), 3);
    first.SetErrorString(nullptr);
    EXPECT_EQ(first.what(), nullptr);
    EXPECT_EQ(second.GetErrorCode(), 5);
    EXPECT_STREQ(second.what(), "a text that is no constant");
  }
  EXPECT_EQ(CFGetRetainCount(text), 1);
}

TEST(ScopedReferenceTest, ReleasesOnceWhatItOwns) {
  const StCFTypeRef<CFStringRef> string = MakeString("a text that is no constant");
  {
    StCFTypeRef<CFStringRef> owner(static_cast<CFStringRef>(CFRetain(string)));
    StCFTypeRef<CFStringRef> second(std::move(owner));
    owner = std::move(second);
    const StCFTypeRef<CFStringRef> borrowed(string.get(), false);
    EXPECT_EQ(CFGetRetainCount(string), 2);
    CFRelease(owner.Release());
  }
  EXPECT_EQ(CFGetRetainCount(string), 1);
}

}  // namespace
