// Who sits at the console: the session manager's answer, else the owner of the display's server.
#include <SystemConfiguration/SystemConfiguration.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>

#include "platform/GraphicalSession.h"
#include "platform/Handles.h"
#include "platform/Programs.h"
#include "platform/System.h"
#include "platform/linux/LocalDisplay.h"

namespace {

std::optional<uid_t> OwnerOfListener(const sockaddr_un& address, socklen_t length) {
  // A local connection comes about at once or not at all, so nobody can keep the caller waiting.
  const platform::UniqueFd server(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!server || connect(server.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0)
    return std::nullopt;
  ucred owner{};
  socklen_t size = sizeof owner;
  if (getsockopt(server.Get(), SOL_SOCKET, SO_PEERCRED, &owner, &size) != 0) return std::nullopt;
  return owner.uid;
}

// Nothing when $DISPLAY names none, one of another machine, or one that does not answer.
std::optional<uid_t> DisplayServerOwner() {
  const std::optional<int> display = platform::LocalDisplayNumber(nullptr);
  if (!display) return std::nullopt;
  const std::string path = "/tmp/.X11-unix/X" + std::to_string(*display);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  std::optional<uid_t> owner = OwnerOfListener(address, sizeof address);
  if (!owner) {  // a server may listen under the abstract name alone
    address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path + 1, sizeof address.sun_path - 1);
    owner =
        OwnerOfListener(address, static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size()));
  }
  return owner;
}

}  // namespace

CFStringRef SCDynamicStoreCopyConsoleUser(SCDynamicStoreRef, uid_t* uid, gid_t* gid) {
  const std::optional<platform::GraphicalSession> session = platform::ActiveGraphicalSession();
  const std::optional<uid_t> user = session ? session->user : DisplayServerOwner();
  if (!user) return nullptr;
  const std::optional<platform::Account> account = platform::FindAccount(*user);
  if (!account) return nullptr;

  const char* name = session && session->loginWindow ? "loginwindow" : account->name.c_str();
  const CFStringRef result = CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8);
  if (result == nullptr) return nullptr;
  if (uid != nullptr) *uid = *user;
  if (gid != nullptr) *gid = account->identity.group;
  return result;
}
