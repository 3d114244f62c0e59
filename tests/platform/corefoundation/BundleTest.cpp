// Which folder is the bundle of an executable.
#include "platform/corefoundation/Bundle.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/platform/corefoundation/Support.h"

namespace {

TEST(BundleTest, OnlyAProgramInsideAnApplicationHasItsFolder) {
  const std::pair<const char*, const char*> rows[] = {
      {"/x/kvobserve.app/Contents/MacOS/kvobserve", "/x/kvobserve.app"},
      {"/x/.app/Contents/MacOS/y", "/x/.app/Contents/MacOS"},
      {"/x/y/Contents/MacOS/y", "/x/y/Contents/MacOS"},
      {"/x.app/NotContents/MacOS/y", "/x.app/NotContents/MacOS"},
      {"/y", "/"},
  };
  for (const auto& [executable, folder] : rows)
    EXPECT_EQ(platform::cf::BundleFolder(executable), folder) << executable;
  // Of the running program, too, which is a plain one here.
  const test::Owned<CFURLRef> url(CFBundleCopyBundleURL(CFBundleGetMainBundle()));
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  EXPECT_TRUE(CFEqual(url.get(), test::MakeUrl(folder, true).get()));
}

}  // namespace
