// URLs: escapes, walking up, and what is none.
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

TEST(URLTest, TextIsAUrlOrRefused) {
  struct Row {
    const char* text;
    const char* file;  // the file's path
  };
  const Row rows[] = {
      {"file:///a%20b/%C3%A9/", "/a b/\xC3\xA9"},
      {"file://localhost/a?q#f", "/a"},
      {"/Library/x", "/Library/x"},
      {"http://host:1/a/b", nullptr},
      {"mailto:a@b", nullptr},
      {"file:///a%00b", nullptr},
      {"http://host", nullptr},
      {"", nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const Owned<CFStringRef> text(CFStringCreateWithCString(nullptr, row.text, kCFStringEncodingUTF8));
    const Owned<CFURLRef> url(CFURLCreateWithString(nullptr, text.get(), nullptr));
    ASSERT_TRUE(url);
    EXPECT_TRUE(CFEqual(CFURLGetString(url.get()), text.get()));
    EXPECT_EQ(PathOf(url.get()), row.file != nullptr ? row.file : "(no path)");
  }
  for (const char* const bad : {"a b", "\xC3\xA9", "%zz", "a%2", "<a>", "a#b#c"}) {
    const Owned<CFStringRef> text(CFStringCreateWithCString(nullptr, bad, kCFStringEncodingUTF8));
    EXPECT_EQ(CFURLCreateWithString(nullptr, text.get(), nullptr), nullptr) << bad;
  }
  const Owned<CFURLRef> folder(
      CFURLCreateWithFileSystemPath(nullptr, CFSTR("/\u00E9/x"), kCFURLPOSIXPathStyle, true));
  EXPECT_EQ(Utf8Of(CFURLGetString(folder.get())), "file:///%C3%A9/x/");
  EXPECT_EQ(CFURLCreateWithFileSystemPath(nullptr, CFSTR(""), kCFURLPOSIXPathStyle, true), nullptr);
}

}  // namespace
