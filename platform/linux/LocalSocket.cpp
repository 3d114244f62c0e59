#include "platform/LocalSocket.h"

#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>

#include "platform/System.h"

namespace platform {

int LocalSocketName::Bind(int socket, const std::string& path, mode_t mode) {
  sockaddr_storage address{};
  const socklen_t length = MakeLocalAddress(path, address);
  if (path != reinterpret_cast<const sockaddr_un&>(address).sun_path) return ENAMETOOLONG;

  if (unlink(path.c_str()) != 0 && errno != ENOENT) return errno;
  if (bind(socket, reinterpret_cast<const sockaddr*>(&address), length) != 0) return errno;
  path_ = path;
  int error = chmod(path.c_str(), mode) == 0 ? 0 : errno;
  if (error == 0) error = Recognise();
  if (error != 0) {
    unlink(path.c_str());
    path_.clear();
  }
  return error;
}

int LocalSocketName::GiveTo(uid_t owner) {
  if (lchown(path_.c_str(), owner, static_cast<gid_t>(-1)) != 0) return errno;
  return Recognise();
}

int LocalSocketName::Recognise() {
  struct stat made {};
  if (lstat(path_.c_str(), &made) != 0) return errno;
  device_ = made.st_dev;
  inode_ = made.st_ino;
  changed_ = made.st_ctim;
  return 0;
}

void LocalSocketName::Remove() {
  if (path_.empty()) return;
  struct stat found {};
  if (lstat(path_.c_str(), &found) == 0 && found.st_dev == device_ && found.st_ino == inode_ &&
      found.st_ctim.tv_sec == changed_.tv_sec && found.st_ctim.tv_nsec == changed_.tv_nsec)
    unlink(path_.c_str());
  path_.clear();
}

}  // namespace platform
