// Local sockets: their addresses, their names in the file system, and a peer that is gone.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>

#include "platform/Handles.h"
#include "platform/LocalSocket.h"
#include "platform/System.h"
#include "tests/support/TemporaryFolder.h"

namespace {

TEST(SocketsTest, AnAddressTakesAtMost104BytesOfThePath) {
  for (const size_t size : {1U, 104U, 105U, 4000U}) {
    sockaddr_storage address{};
    const socklen_t length = platform::MakeLocalAddress(std::string(size, 'p'), address);
    const auto& local = reinterpret_cast<const sockaddr_un&>(address);
    const size_t taken = std::min<size_t>(size, 104);
    EXPECT_EQ(local.sun_path, std::string(taken, 'p')) << size;
    EXPECT_EQ(length, taken + offsetof(sockaddr_un, sun_path)) << size;
  }
}

TEST(SocketsTest, SendingToAPeerThatIsGoneFailsWithoutASignal) {
  std::array<int, 2> ends{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  const platform::UniqueFd ours(ends[0]);
  close(ends[1]);
  EXPECT_EQ(platform::DisableSigPipe(ours.Get()), 0);
  EXPECT_EQ(send(ours.Get(), "x", 1, platform::SendFlags()), -1);
  EXPECT_EQ(errno, EPIPE);
}

TEST(LocalSocketNameTest, TakesAStaleNamesPlaceAndLeavesItToASuccessor) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "socket";
  const platform::UniqueFd servers[] = {platform::UniqueFd(socket(AF_UNIX, SOCK_STREAM, 0)),
                                        platform::UniqueFd(socket(AF_UNIX, SOCK_STREAM, 0))};
  platform::LocalSocketName first;
  platform::LocalSocketName second;
  std::ofstream{path};
  ASSERT_EQ(first.Bind(servers[0].Get(), path), 0);
  EXPECT_TRUE(std::filesystem::is_socket(path));
  EXPECT_EQ(test::FilePermissions(path), 0600U) << "its owner's alone";
  ASSERT_EQ(second.Bind(servers[1].Get(), path), 0);
  first.Remove();
  EXPECT_TRUE(std::filesystem::is_socket(path));
  second.Remove();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(LocalSocketNameTest, RefusesWhatCannotBeBound) {
  const test::TemporaryFolder folder;
  const platform::UniqueFd server(socket(AF_UNIX, SOCK_STREAM, 0));
  platform::LocalSocketName name;
  EXPECT_EQ(name.Bind(server.Get(), folder / std::string(104, 'n')), ENAMETOOLONG);
  EXPECT_EQ(name.Bind(server.Get(), folder / "missing/socket"), ENOENT);
}

}  // namespace
