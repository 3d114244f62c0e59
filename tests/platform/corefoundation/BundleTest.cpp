// Which folder is the bundle of an executable.
#include "platform/corefoundation/Bundle.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/platform/corefoundation/Support.h"

namespace {

TEST(BundleTest, OnlyAProgramInsideAnApplicationHasItsFolder) {
  const struct {
    const char* executable;
    const char* folder;
  } rows[] = {
      {"/x/kvobserve.app/Contents/MacOS/kvobserve", "/x/kvobserve.app"},
      {"/x.app/Contents/MacOS/y", "/x.app"},
      {"/x/.app/Contents/MacOS/y", "/x/.app/Contents/MacOS"},
      {"/x/y/Contents/MacOS/y", "/x/y/Contents/MacOS"},
      {"/x.app/Contents/y", "/x.app/Contents"},
      {"/x.app/NotContents/MacOS/y", "/x.app/NotContents/MacOS"},
      {"/usr/bin/y", "/usr/bin"},
      {"/y", "/"},
  };
  for (const auto& row : rows) EXPECT_EQ(platform::cf::BundleFolder(row.executable), row.folder);
}

TEST(BundleTest, TheMainBundleOfAPlainProgramIsItsFolder) {
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
  const CFBundleRef bundle = CFBundleGetMainBundle();
  ASSERT_NE(bundle, nullptr);
  EXPECT_EQ(bundle, CFBundleGetMainBundle());
  const test::Owned<CFURLRef> url(CFBundleCopyBundleURL(bundle));
  EXPECT_TRUE(CFEqual(url.get(), test::MakeUrl(program.parent_path(), true).get()));
}

}  // namespace
