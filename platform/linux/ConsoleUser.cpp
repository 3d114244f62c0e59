// Who sits at the console: the session manager's answer, else the owner of the display's server.
#include <SystemConfiguration/SystemConfiguration.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-login.h>
#include <xcb/xcb.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Handles.h"
#include "platform/System.h"

namespace {

struct ConsoleUser {
  uid_t uid;
  bool greeter;
};

// Nothing without a session manager, and while no session of its seat is active.
std::optional<ConsoleUser> ActiveSessionUser() {
  char* name = nullptr;
  uid_t uid = 0;
  const int result = sd_seat_get_active("seat0", &name, &uid);
  const platform::MallocPtr<char> session(name);
  if (result < 0 || !session) return std::nullopt;

  char* text = nullptr;
  const int known = sd_session_get_class(session.get(), &text);
  const platform::MallocPtr<char> sessionClass(text);
  return ConsoleUser{uid, known >= 0 && std::string_view(sessionClass.get()) == "greeter"};
}

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
std::optional<ConsoleUser> DisplayServerOwner() {
  char* hostText = nullptr;
  int display = 0;
  if (xcb_parse_display(nullptr, &hostText, &display, nullptr) == 0) return std::nullopt;
  const platform::MallocPtr<char> host(hostText);
  if (const std::string_view name(host.get()); !name.empty() && name != "unix") return std::nullopt;

  const std::string path = "/tmp/.X11-unix/X" + std::to_string(display);
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
  if (!owner) return std::nullopt;
  return ConsoleUser{*owner, false};
}

struct Account {
  std::string name;
  gid_t gid;
};

std::optional<Account> FindAccount(uid_t uid) {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
    return std::nullopt;
  return Account{entry.pw_name, entry.pw_gid};
}

}  // namespace

CFStringRef SCDynamicStoreCopyConsoleUser(SCDynamicStoreRef, uid_t* uid, gid_t* gid) {
  std::optional<ConsoleUser> user = ActiveSessionUser();
  if (!user) user = DisplayServerOwner();
  if (!user) return nullptr;
  const std::optional<Account> account = FindAccount(user->uid);
  if (!account) return nullptr;

  const char* name = user->greeter ? "loginwindow" : account->name.c_str();
  const CFStringRef result = CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8);
  if (result == nullptr) return nullptr;
  if (uid != nullptr) *uid = user->uid;
  if (gid != nullptr) *gid = account->gid;
  return result;
}
