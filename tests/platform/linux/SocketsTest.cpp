// The names of local sockets in the file system.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <filesystem>
#include <fstream>

#include "platform/Handles.h"
#include "platform/LocalSocket.h"
#include "tests/support/TemporaryFolder.h"

namespace {

TEST(LocalSocketNameTest, TakesAStaleNamesPlaceAndLeavesItToASuccessor) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "socket";
  const platform::UniqueFd servers[] = {platform::UniqueFd(socket(AF_UNIX, SOCK_STREAM, 0)),
                                        platform::UniqueFd(socket(AF_UNIX, SOCK_STREAM, 0))};
  platform::LocalSocketName first;
  platform::LocalSocketName second;
  std::ofstream{path};
  ASSERT_EQ(first.Bind(servers[0].Get(), path), 0);
  EXPECT_EQ(test::FilePermissions(path), 0600U) << "its owner's alone";
  ASSERT_EQ(second.Bind(servers[1].Get(), path), 0);
  first.Remove();
  EXPECT_TRUE(std::filesystem::is_socket(path));
  second.Remove();
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
