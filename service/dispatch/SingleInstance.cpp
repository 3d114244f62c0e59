#include "service/dispatch/SingleInstance.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/KCPidUtils.h"

namespace service {

namespace {

constexpr char kKey[] = "kvdispatch";

struct flock WholeFile() {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

}  // namespace

SingleInstance::SingleInstance(const std::string& folder) : problem_(Claim(folder)) {
  if (problem_.empty()) KCPutPIDForKeyToFile(kKey, nullptr);
}

SingleInstance::~SingleInstance() {
  if (problem_.empty()) KCDeletePIDForKeyFile(kKey, nullptr);
}

// The kernel gives the lock to one process, tells whose it is, and frees it when that process ends in
// whatever way. The file itself stays: removing it would let two processes lock two files of one name.
std::string SingleInstance::Claim(const std::string& folder) {
  struct stat found {};
  if (lstat(folder.c_str(), &found) != 0) return "cannot use " + folder + ": " + std::strerror(errno);
  if (!S_ISDIR(found.st_mode) || found.st_uid != geteuid() || (found.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    return folder + " must be a folder that only this user can write to";

  const std::string path = folder + "/kvdispatch.lock";
  lock_.Reset(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!lock_) return "cannot open " + path + ": " + std::strerror(errno);
  struct flock lock = WholeFile();
  if (fcntl(lock_.Get(), F_SETLK, &lock) == 0) return {};
  if (errno != EACCES && errno != EAGAIN) return "cannot lock " + path + ": " + std::strerror(errno);
  lock = WholeFile();
  if (fcntl(lock_.Get(), F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK) return "already running";
  return "already running as process " + std::to_string(lock.l_pid);
}

}  // namespace service
