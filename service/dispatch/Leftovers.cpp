#include "service/dispatch/Leftovers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "broker/LocalEndpoint.h"
#include "common/KCFolderManager.h"

namespace service {

namespace {

namespace fs = std::filesystem;

bool BelongsToOthers(const std::string& path, uid_t user) {
  struct stat found {};
  return lstat(path.c_str(), &found) == 0 && found.st_uid != user && found.st_uid != 0;
}

}  // namespace

void RemoveLeftovers(uid_t user) {
  if (geteuid() != 0 || isStandALone()) return;
  const std::string endpoint = PathOfEndpoint(FetchFolder(kFolderObserveEndpoint));
  const std::string screenSocket = FetchFolder(kFolderScreenIPCSocket);
  const std::string screenFiles = FetchFolder(kFolderSharedFrameBuffer);
  std::error_code error;
  fs::directory_iterator entry(fs::path(endpoint).parent_path(), error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string path = entry->path();
    const bool observers = path == endpoint || path == screenSocket || path.starts_with(screenFiles);
    if (observers && BelongsToOthers(path, user)) unlink(path.c_str());
  }
}

}  // namespace service
