// Local sockets: their addresses, their names in the file system, and a peer that is gone.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
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

platform::UniqueFd MakeSocket() { return platform::UniqueFd(socket(AF_UNIX, SOCK_STREAM, 0)); }

TEST(SocketsTest, AnAddressTakesAtMost104BytesOfThePath) {
  for (const size_t size : {1U, 50U, 104U, 105U, 4000U}) {
    const std::string path(size, 'p');
    sockaddr_storage address{};
    const socklen_t length = platform::MakeLocalAddress(path, address);
    const auto& local = reinterpret_cast<const sockaddr_un&>(address);
    const std::string taken = path.substr(0, 104);
    EXPECT_EQ(local.sun_family, AF_UNIX);
    EXPECT_STREQ(local.sun_path, taken.c_str()) << size;
    EXPECT_EQ(length, taken.size() + offsetof(sockaddr_un, sun_path)) << size;
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

class LocalSocketNameTest : public testing::Test {
 protected:
  const test::TemporaryFolder folder_;
  const std::string path_ = folder_ / "socket";
};

TEST_F(LocalSocketNameTest, TakesThePlaceOfAStaleNameForItsOwnerAlone) {
  std::ofstream{path_};
  const platform::UniqueFd server = MakeSocket();
  platform::LocalSocketName name;
  ASSERT_EQ(name.Bind(server.Get(), path_), 0);
  struct stat found {};
  ASSERT_EQ(lstat(path_.c_str(), &found), 0);
  EXPECT_TRUE(S_ISSOCK(found.st_mode));
  EXPECT_EQ(found.st_mode & 07777, static_cast<mode_t>(S_IRUSR | S_IWUSR));
  name.Remove();
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(LocalSocketNameTest, LeavesTheNameToASuccessor) {
  const platform::UniqueFd firstServer = MakeSocket();
  const platform::UniqueFd secondServer = MakeSocket();
  platform::LocalSocketName first;
  platform::LocalSocketName second;
  ASSERT_EQ(first.Bind(firstServer.Get(), path_), 0);
  ASSERT_EQ(second.Bind(secondServer.Get(), path_), 0);
  first.Remove();
  EXPECT_TRUE(std::filesystem::is_socket(path_));
  second.Remove();
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(LocalSocketNameTest, RefusesWhatCannotBeBound) {
  const platform::UniqueFd server = MakeSocket();
  platform::LocalSocketName name;
  EXPECT_EQ(name.Bind(server.Get(), folder_ / std::string(104, 'n')), ENAMETOOLONG);
  EXPECT_EQ(name.Bind(server.Get(), folder_ / "missing/socket"), ENOENT);
  name.Remove();
}

}  // namespace
