// File URLs: escapes, walking up and down, and paths that do not fit.
#include <gtest/gtest.h>
#include <limits.h>

#include <filesystem>

#include "tests/platform/corefoundation/Support.h"

namespace {

using test::MakeUrl;
using test::Owned;
using test::Utf8Of;

std::string PathOf(CFURLRef url, CFIndex size = PATH_MAX) {
  UInt8 buffer[PATH_MAX] = {};
  if (!CFURLGetFileSystemRepresentation(url, true, buffer, size)) return "(no path)";
  return reinterpret_cast<const char*>(buffer);
}

TEST(URLTest, APathGoesInAndComesOut) {
  const std::string here = std::filesystem::current_path();
  struct Row {
    std::string path;
    bool isDirectory;
    std::string text, back, last, above;
  };
  const Row rows[] = {
      {"/a/b/", false, "file:///a/b", "/a/b", "b", "file:///a/"},
      {"/a/b", true, "file:///a/b/", "/a/b", "b", "file:///a/"},
      {"/", true, "file:///", "/", "/", "file:///../"},
      {"a", false, "a", here + "/a", "a", "./"},
      {"./x/../y", false, "./x/../y", here + "/y", "y", "./x/../"},
      {"/a b/?#;%", false, "file:///a%20b/%3F%23%3B%25", "/a b/?#;%", "?#;%", "file:///a%20b/"},
      {"/\xC3\xA9:@$", false, "file:///%C3%A9:@$", "/\xC3\xA9:@$", "\xC3\xA9:@$", "file:///"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    const auto url = MakeUrl(row.path, row.isDirectory);
    EXPECT_EQ(Utf8Of(CFURLGetString(url.get())), row.text);
    EXPECT_EQ(PathOf(url.get()), row.back);
    const Owned<CFStringRef> last(CFURLCopyLastPathComponent(url.get()));
    EXPECT_EQ(Utf8Of(last.get()), row.last);
    const Owned<CFURLRef> above(CFURLCreateCopyDeletingLastPathComponent(nullptr, url.get()));
    EXPECT_EQ(Utf8Of(CFURLGetString(above.get())), row.above);
  }
}

TEST(URLTest, RefusesWhatIsNoPathOrNoTextOrDoesNotFit) {
  const auto url = MakeUrl("/ab\xFF", true);
  EXPECT_EQ(MakeUrl("", true), nullptr);
  EXPECT_EQ(MakeUrl(std::string("/a\0b", 4), false), nullptr);
  EXPECT_EQ(PathOf(url.get(), 4), "(no path)") << "not cut";
  EXPECT_EQ(PathOf(url.get(), 5), "/ab\xFF");
  EXPECT_EQ(CFURLCopyLastPathComponent(url.get()), nullptr);
  EXPECT_FALSE(CFEqual(url.get(), MakeUrl("/ab\xFF", false).get()));
}

}  // namespace
