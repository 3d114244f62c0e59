// File URLs: escapes, and walking up.
#include <gtest/gtest.h>
#include <limits.h>

#include <filesystem>

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
  const std::string here = std::filesystem::current_path();
  struct Row {
    std::string path;
    bool isDirectory;
    std::string text, back, last, above;
  };
  const Row rows[] = {
      {"/a/b", true, "file:///a/b/", "/a/b", "b", "file:///a/"},
      {"/", true, "file:///", "/", "/", "file:///../"},
      {"a", false, "a", here + "/a", "a", "./"},
      {"./x/../y", false, "./x/../y", here + "/y", "y", "./x/../"},
      {"/a b/?#;%", false, "file:///a%20b/%3F%23%3B%25", "/a b/?#;%", "?#;%", "file:///a%20b/"},
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

}  // namespace
