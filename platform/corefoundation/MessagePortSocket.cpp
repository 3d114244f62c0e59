#include "platform/corefoundation/MessagePortSocket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "platform/System.h"
#include "platform/corefoundation/Owned.h"
#include "platform/corefoundation/String.h"

namespace platform::cf {

namespace {

constexpr char kDefaultFolder[] = "/tmp/.korvane-ports";
constexpr mode_t kFolderMode = S_ISVTX | 0777;
// A service of root serves users; whom it listens to is settled when they have connected.
constexpr mode_t kSocketMode = 0666;
constexpr int kBacklog = 128;

std::string PortsFolder() {
  const char* folder = std::getenv("KORVANE_PORTS_DIR");
  return folder != nullptr && *folder != '\0' ? folder : kDefaultFolder;
}

bool IsTrusted(uid_t user) { return user == 0 || user == geteuid(); }

// Makes the folder when it is missing. None, and a line on the console, when it is no folder to rely on.
UniqueFd OpenFolder(const std::string& path) {
  const char* const folder = path.c_str();
  if (mkdir(folder, kFolderMode & 0777) == 0) {
    // Only now: the process's mask does not take part.
    if (chmod(folder, kFolderMode) != 0)
      ConsoleLog("cannot open %s to all: %s", folder, std::strerror(errno));
  } else if (errno != EEXIST) {
    ConsoleLog("cannot make the folder of message ports %s: %s", folder, std::strerror(errno));
    return {};
  }
  UniqueFd opened(open(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat found {};
  if (!opened || fstat(opened.Get(), &found) != 0) {
    ConsoleLog("%s is not a folder for message ports: %s", folder, std::strerror(errno));
    return {};
  }
  if (!IsTrusted(found.st_uid) && (found.st_mode & S_ISVTX) == 0) {
    ConsoleLog("%s belongs to user %ld, who can replace every message port in it (mode %04o)", folder,
               static_cast<long>(found.st_uid), static_cast<unsigned>(found.st_mode & 07777));
    return {};
  }
  return opened;
}

// Servers that start at the same moment take turns. Anybody may hold this lock, so it is waited for a while
// only.
void LockFolder(int folder) {
  using namespace std::chrono;
  const auto deadline = steady_clock::now() + seconds(1);
  while (flock(folder, LOCK_EX | LOCK_NB) != 0 && steady_clock::now() < deadline)
    std::this_thread::sleep_for(milliseconds(5));
}

// A connection that blocks, for at most that time; errno tells why there is none.
UniqueFd Connect(const std::string& path, std::chrono::milliseconds patience) {
  UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!connection) return {};
  const auto micros = std::max<int64_t>(std::chrono::microseconds(patience).count(), 1);
  const timeval limit{micros / 1000000, micros % 1000000};
  setsockopt(connection.Get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
  sockaddr_storage address{};
  const socklen_t length = MakeLocalAddress(path, address);
  if (connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) return {};
  return connection;
}

// A server that is to be trusted listens there. Whoever does not answer in time is there as well. The name
// that another user has made is free for those who can remove it: nobody would talk to that server.
bool IsTaken(const std::string& path) {
  struct stat found {};
  if (lstat(path.c_str(), &found) == 0 && !IsTrusted(found.st_uid)) return false;
  const UniqueFd probe = Connect(path, std::chrono::milliseconds(200));
  return probe || errno == EAGAIN;
}

}  // namespace

std::optional<std::string> PortPath(CFStringRef name) {
  if (name == nullptr) return std::nullopt;
  char text[256];
  if (!CFStringGetCString(name, text, sizeof text, kCFStringEncodingUTF8)) return std::nullopt;
  const std::string file = text;
  const bool whole = std::find(name->units.begin(), name->units.end(), u'\0') == name->units.end();
  if (!whole || file.empty() || file == "." || file == ".." || file.find('/') != std::string::npos)
    return std::nullopt;
  const std::string path = PortsFolder() + "/" + file;
  sockaddr_storage address{};
  MakeLocalAddress(path, address);
  if (path != reinterpret_cast<const sockaddr_un&>(address).sun_path) return std::nullopt;
  return path;
}

std::optional<PortListener> ListenOnPort(const std::string& path) {
  const UniqueFd folder = OpenFolder(std::filesystem::path(path).parent_path());
  if (!folder) return std::nullopt;
  LockFolder(folder.Get());
  if (IsTaken(path)) {
    ConsoleLog("the message port %s is taken", path.c_str());
    return std::nullopt;
  }
  PortListener listener;
  listener.socket.Reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  int error = listener.socket ? listener.name.Bind(listener.socket.Get(), path, kSocketMode) : errno;
  if (error == 0 && listen(listener.socket.Get(), kBacklog) != 0) {
    error = errno;
    listener.name.Remove();
  }
  if (error != 0) {
    ConsoleLog("cannot make the message port %s: %s", path.c_str(), std::strerror(error));
    return std::nullopt;
  }
  return listener;
}

UniqueFd ConnectToPort(const std::string& path, std::chrono::milliseconds patience) {
  UniqueFd connection = Connect(path, patience);
  if (!connection) return {};
  const std::optional<uid_t> server = PeerUser(connection.Get());
  if (!server || !IsTrusted(*server)) {
    ConsoleLog("the message port %s is served by user %ld, who is not to be trusted", path.c_str(),
               server ? static_cast<long>(*server) : -1L);
    return {};
  }
  fcntl(connection.Get(), F_SETFL, O_NONBLOCK);
  return connection;
}

std::optional<uid_t> PeerUser(int socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return std::nullopt;
  return peer.uid;
}

}  // namespace platform::cf
