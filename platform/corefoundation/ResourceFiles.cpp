// Resource forks of files: NAME's lies in the AppleDouble file "._NAME" beside it.
#include <CoreServices/CoreServices.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Handles.h"
#include "platform/ThreadSafety.h"
#include "platform/corefoundation/ResourceFork.h"

namespace {

using platform::cf::ResourceMap;

struct DisposeDeleter {
  void operator()(Handle handle) const noexcept { DisposeHandle(handle); }
};

struct OpenFork {
  std::vector<std::byte> bytes;
  ResourceMap map;  // borrows `bytes`
  std::map<std::pair<ResType, SInt16>, std::unique_ptr<Ptr, DisposeDeleter>> handles;
};

struct OpenForks {
  Lock lock;
  std::map<ResFileRefNum, OpenFork> forks GUARDED_BY(lock);
};

// Never destroyed: threads that outlive main() may hold one open.
OpenForks& Shared() {
  static OpenForks& shared = *new OpenForks;
  return shared;
}

// A thread's own, so that two threads that read files at once do not meet.
thread_local ResFileRefNum currentFile = -1;
thread_local OSErr lastError = noErr;

std::string AppleDoublePath(const char* path) {
  const std::string whole(path);
  const size_t name = whole.rfind('/') + 1;
  return whole.substr(0, name) + "._" + whole.substr(name);
}

// The last error tells why there is nothing.
std::optional<std::vector<std::byte>> ReadFile(const std::string& path) {
  constexpr off_t kLargest = 32 << 20;  // a fork's own numbers reach 16 MiB of data
  // A name that leads to a FIFO does not hold the caller up.
  const platform::UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat found {};
  if (!file) {
    lastError = errno == ENOENT ? eofErr : ioErr;
    return std::nullopt;
  }
  if (fstat(file.Get(), &found) != 0 || !S_ISREG(found.st_mode) || found.st_size > kLargest) {
    lastError = ioErr;
    return std::nullopt;
  }
  std::vector<std::byte> bytes(static_cast<size_t>(found.st_size));
  size_t filled = 0;
  ssize_t got = 0;
  while (filled < bytes.size() &&
         (got = read(file.Get(), bytes.data() + filled, bytes.size() - filled)) > 0) {
    filled += static_cast<size_t>(got);
  }
  bytes.resize(filled);
  return bytes;
}

ResFileRefNum Keep(OpenFork fork) {
  OpenForks& shared = Shared();
  const Locked locked(shared.lock);
  ResFileRefNum number = 1;
  while (shared.forks.contains(number)) {
    if (number == std::numeric_limits<ResFileRefNum>::max()) {
      lastError = tmfoErr;
      return -1;
    }
    ++number;
  }
  shared.forks.emplace(number, std::move(fork));
  return number;
}

Handle MakeHandle(ResType type, std::span<const std::byte> bytes) {
  Handle handle = NewHandle(static_cast<Size>(bytes.size()));
  if (handle == nullptr) return nullptr;
  if (!bytes.empty()) std::memcpy(*handle, bytes.data(), bytes.size());
  // Numbers of a version resource, the packed version and the region code, are handed out as the machine
  // stores them.
  constexpr ResType kVersion = 0x76657273;  // "vers"
  constexpr size_t kNumbers = 6;
  if (type == kVersion && bytes.size() >= kNumbers && std::endian::native == std::endian::little) {
    std::reverse(*handle, *handle + 4);
    std::reverse(*handle + 4, *handle + kNumbers);
  }
  return handle;
}

}  // namespace

extern "C" {

Boolean CFURLGetFSRef(CFURLRef url, FSRef* file) {
  return CFURLGetFileSystemRepresentation(url, true, file->path, sizeof file->path) &&
         access(reinterpret_cast<const char*>(file->path), F_OK) == 0;
}

ResFileRefNum FSOpenResFile(const FSRef* file, SInt8) {
  lastError = noErr;
  const char* const path = reinterpret_cast<const char*>(file->path);
  if (access(path, F_OK) != 0) {
    lastError = fnfErr;
    return -1;
  }
  auto bytes = ReadFile(AppleDoublePath(path));
  if (!bytes) return -1;
  const auto fork = platform::cf::ResourceForkOf(*bytes);
  if (fork && fork->empty()) {
    lastError = eofErr;
    return -1;
  }
  auto map = fork ? ResourceMap::Read(*fork) : std::nullopt;
  if (!map) {
    lastError = mapReadErr;
    return -1;
  }
  // Moving the bytes leaves them where they are, so the map stays right.
  const ResFileRefNum number = Keep({*std::move(bytes), *std::move(map), {}});
  if (number != -1) currentFile = number;
  return number;
}

void CloseResFile(ResFileRefNum file) {
  OpenForks& shared = Shared();
  const Locked locked(shared.lock);
  lastError = shared.forks.erase(file) == 1 ? noErr : resFNotFound;
  if (currentFile == file) currentFile = -1;
}

Handle Get1IndResource(ResType type, SInt16 index) {
  OpenForks& shared = Shared();
  const Locked locked(shared.lock);
  const auto open = shared.forks.find(currentFile);
  const auto bytes = open != shared.forks.end() ? open->second.map.Find(type, index) : std::nullopt;
  lastError = bytes ? noErr : resNotFound;
  if (!bytes) return nullptr;
  auto& handle = open->second.handles[{type, index}];
  if (!handle) handle.reset(MakeHandle(type, *bytes));
  if (!handle) lastError = memFullErr;
  return handle.get();
}

OSErr ResError() { return lastError; }

}  // extern "C"
