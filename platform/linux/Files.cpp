// Folders, blocks and age of a file, the executable's path.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "platform/Handles.h"
#include "platform/System.h"
#include "platform/linux/PrivateFolder.h"

namespace platform {

namespace {

std::string WithSeparator(std::string path) {
  if (path.back() != '/') path += '/';
  return path;
}

}  // namespace

bool ClaimPrivateFolder(const std::string& path) {
  if (mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
    ConsoleLog("cannot make the folder %s: %s", path.c_str(), std::strerror(errno));
    return false;
  }
  const UniqueFd folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat found {};
  if (!folder || fstat(folder.Get(), &found) != 0) {
    ConsoleLog("%s is not a folder of this user: %s; remove it or set TMPDIR", path.c_str(),
               std::strerror(errno));
    return false;
  }
  if (found.st_uid != geteuid()) {
    ConsoleLog("%s belongs to user %ld; remove it or set TMPDIR", path.c_str(),
               static_cast<long>(found.st_uid));
    return false;
  }
  if ((found.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    ConsoleLog("%s is open to other users (mode %03o); remove it or set TMPDIR", path.c_str(),
               static_cast<unsigned>(found.st_mode & 0777));
    return false;
  }
  return true;
}

std::string UserTemporaryFolder() {
  for (const char* variable : {"TMPDIR", "XDG_RUNTIME_DIR"}) {
    const char* folder = std::getenv(variable);
    if (folder != nullptr && *folder != '\0') return WithSeparator(folder);
  }
  const std::string own = "/tmp/korvane-" + std::to_string(geteuid());
  return ClaimPrivateFolder(own) ? WithSeparator(own) : std::string();
}

bool CreateFolders(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  return std::filesystem::is_directory(path, error);
}

int ReserveFileBlocks(int fd, int64_t length) {
  int error = 0;
  do {
    error = posix_fallocate(fd, 0, length);
  } while (error == EINTR);
  return error;
}

std::optional<double> FileCreationTime(const std::string& path) {
  struct statx found {};
  if (statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME | STATX_MTIME, &found) != 0) return std::nullopt;
  // Some file systems know the field and fill it with 0.
  const bool kept = (found.stx_mask & STATX_BTIME) != 0 && found.stx_btime.tv_sec != 0;
  const statx_timestamp& time = kept ? found.stx_btime : found.stx_mtime;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

std::string ExecutablePath() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

}  // namespace platform
