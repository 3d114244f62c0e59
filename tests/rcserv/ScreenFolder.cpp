#include "tests/rcserv/ScreenFolder.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cstdlib>

#include "common/KCFolderManager.h"
#include "platform/System.h"

namespace test {

ScreenFolderTest::ScreenFolderTest() {
  setenv("TMPDIR", folder_.Path().c_str(), 1);
  SetRootFolder(folder_.Path().c_str());
}

std::vector<std::string> ScreenFolderTest::ScreenFiles() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
    if (entry.path().filename().string().starts_with("sfb")) names.push_back(entry.path().filename());
  }
  return names;
}

Words Response(Words start) {
  start.resize(202);
  return start;
}

bool RawClient::Connect(const std::string& path) {
  socket_.Reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const timeval limit = {.tv_sec = 20, .tv_usec = 0};
  setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  sockaddr_storage address{};
  const socklen_t length = platform::MakeLocalAddress(path, address);
  return connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), length) == 0;
}

void RawClient::Send(const std::vector<uint8_t>& bytes) const {
  EXPECT_EQ(send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(bytes.size()));
}

Words RawClient::Receive() const {
  Words words = Response({});
  return recv(socket_.Get(), words.data(), 808, MSG_WAITALL) == 808 ? words : Words();
}

}  // namespace test
