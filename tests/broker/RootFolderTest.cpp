// Which root folder follows from where the programs lie.
#include "broker/RootFolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// Empty for the default root.
std::string Root(const char* folder) {
  const StCFTypeRef<CFURLRef> url(
      CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(folder),
                                              static_cast<CFIndex>(std::strlen(folder)), true));
  const StCFTypeRef<CFURLRef> root = CopyStandAloneRoot(url);
  UInt8 path[1024] = {};
  if (root.get() != nullptr) CFURLGetFileSystemRepresentation(root, true, path, sizeof path);
  return reinterpret_cast<const char*>(path);
}

TEST(RootFolderTest, TheRootFollowsFromTheFolderOfThePrograms) {
  const struct {
    const char* folder;
    const char* root;
  } cases[] = {
      {"/Library/Application Support/Korvane/bin", ""}, {"/Korvane/bin", ""},
      {"/home/u/Other/bin", "/home/u/Other"},           {"/home/u/Other", "/home/u/Other"},
      {"/home/u/Korvane", "/home/u/Korvane"},           {"/home/u/Korvane/Bin", "/home/u/Korvane/Bin"},
      {"/home/u/grüße aus/bin", "/home/u/grüße aus"},   {"/", "/"},
  };
  for (const auto& row : cases) EXPECT_EQ(Root(row.folder), row.root) << row.folder;
}

}  // namespace
