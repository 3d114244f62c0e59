// File URLs: escapes, walking up and down, and paths that do not fit.
#include <gtest/gtest.h>
#include <limits.h>
#include <unistd.h>

#include "tests/platform/corefoundation/Support.h"

namespace {

using test::MakeUrl;
using test::Owned;
using test::Utf8Of;

std::string PathOf(CFURLRef url) {
  UInt8 buffer[PATH_MAX] = {};
  if (!CFURLGetFileSystemRepresentation(url, true, buffer, sizeof buffer)) return "(no path)";
  return reinterpret_cast<const char*>(buffer);
}

TEST(URLTest, APathGoesInAndComesOut) {
  struct Row {
    std::string path;
    bool isDirectory;
    std::string text;
    std::string back;
    std::string last;
  };
  const Row rows[] = {
      {"/a/b", false, "file:///a/b", "/a/b", "b"},
      {"/a/b/", false, "file:///a/b", "/a/b", "b"},
      {"/a/b", true, "file:///a/b/", "/a/b", "b"},
      {"/a/b/", true, "file:///a/b/", "/a/b", "b"},
      {"/", true, "file:///", "/", "/"},
      {"/", false, "file:///", "/", "/"},
      {"/a b/?#;%", false, "file:///a%20b/%3F%23%3B%25", "/a b/?#;%", "?#;%"},
      {"/\xC3\xA9:@&=+$,-_.!~*'()", false, "file:///%C3%A9:@&=+$,-_.!~*'()", "/\xC3\xA9:@&=+$,-_.!~*'()",
       "\xC3\xA9:@&=+$,-_.!~*'()"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    const auto url = MakeUrl(row.path, row.isDirectory);
    EXPECT_EQ(Utf8Of(CFURLGetString(url.get())), row.text);
    EXPECT_EQ(PathOf(url.get()), row.back);
    const Owned<CFStringRef> last(CFURLCopyLastPathComponent(url.get()));
    EXPECT_EQ(Utf8Of(last.get()), row.last);
  }
}

TEST(URLTest, BytesThatAreNotTextStayInThePath) {
  const auto url = MakeUrl("/x\xFF", false);
  EXPECT_EQ(Utf8Of(CFURLGetString(url.get())), "file:///x%FF");
  EXPECT_EQ(PathOf(url.get()), "/x\xFF");
  EXPECT_EQ(CFURLCopyLastPathComponent(url.get()), nullptr);
}

TEST(URLTest, RefusesPathsThatNameNothing) {
  EXPECT_EQ(MakeUrl("", true), nullptr);
  EXPECT_EQ(MakeUrl(std::string("/a\0b", 4), false), nullptr);
  EXPECT_EQ(CFURLCreateCopyAppendingPathComponent(nullptr, MakeUrl("/a", true).get(),
                                                  test::MakeString(u"\xD800").get(), false),
            nullptr);
}

TEST(URLTest, ARelativePathIsResolvedAgainstTheWorkingFolder) {
  char folder[PATH_MAX];
  ASSERT_NE(getcwd(folder, sizeof folder), nullptr);
  const auto url = MakeUrl("./x/../y", false);
  EXPECT_EQ(Utf8Of(CFURLGetString(url.get())), "./x/../y");
  EXPECT_EQ(PathOf(url.get()), std::string(folder) + "/y");
  UInt8 buffer[16];
  ASSERT_TRUE(CFURLGetFileSystemRepresentation(url.get(), false, buffer, sizeof buffer));
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "./x/../y");
}

TEST(URLTest, WalksUpAndDown) {
  const struct {
    const char* path;
    bool isDirectory;
    const char* above;
  } rows[] = {
      {"/a/b", false, "file:///a/"},
      {"/a/b", true, "file:///a/"},
      {"/a", true, "file:///"},
      {"/", true, "file:///../"},
      {"/..", true, "file:///../../"},
      {"/a/.", true, "file:///a/../"},
      {"a", false, "./"},
      {"a/b", false, "a/"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    const Owned<CFURLRef> above(
        CFURLCreateCopyDeletingLastPathComponent(nullptr, MakeUrl(row.path, row.isDirectory).get()));
    EXPECT_EQ(Utf8Of(CFURLGetString(above.get())), row.above);
  }
  for (const bool isDirectory : {false, true}) {
    const Owned<CFURLRef> below(CFURLCreateCopyAppendingPathComponent(
        nullptr, MakeUrl("/a", isDirectory).get(), CFSTR("b c"), isDirectory));
    EXPECT_EQ(Utf8Of(CFURLGetString(below.get())), isDirectory ? "file:///a/b%20c/" : "file:///a/b%20c");
  }
}

TEST(URLTest, APathThatDoesNotFitIsNotCut) {
  const auto url = MakeUrl("/abc", false);
  UInt8 buffer[6] = "#####";
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(url.get(), true, buffer, 4));
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "#####");
  EXPECT_TRUE(CFURLGetFileSystemRepresentation(url.get(), true, buffer, 5));
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "/abc");
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(url.get(), true, buffer, -1));
}

TEST(URLTest, EqualPathsMakeEqualURLs) {
  EXPECT_TRUE(CFEqual(MakeUrl("/a/", false).get(), MakeUrl("/a", false).get()));
  EXPECT_EQ(CFHash(MakeUrl("/a/", false).get()), CFHash(MakeUrl("/a", false).get()));
  EXPECT_FALSE(CFEqual(MakeUrl("/a", true).get(), MakeUrl("/a", false).get()));
}

}  // namespace
