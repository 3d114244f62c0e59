// Addresses and options of local sockets.
#include <sys/un.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/System.h"

namespace platform {

namespace {

// What every system's address has room for.
constexpr size_t kMaxPathBytes = 104;
static_assert(kMaxPathBytes < sizeof(sockaddr_un::sun_path));

}  // namespace

socklen_t MakeLocalAddress(const std::string& path, sockaddr_storage& address) {
  address = {};
  sockaddr_un local{};
  local.sun_family = AF_UNIX;
  const size_t length = std::min(path.size(), kMaxPathBytes);
  path.copy(local.sun_path, length);
  std::memcpy(&address, &local, sizeof local);
  return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
}

// Here it is a flag of each send.
int DisableSigPipe(int) { return 0; }

int SendFlags() { return MSG_NOSIGNAL; }

}  // namespace platform
