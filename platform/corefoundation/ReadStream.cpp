// Reading a file as a stream of bytes.
#include <CoreFoundation/CFStream.h>
#include <CoreFoundation/CFURL.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/Handles.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"

// Used by one thread at a time.
struct __CFReadStream final : platform::cf::Object {
  explicit __CFReadStream(std::string filePath)
      : Object(platform::cf::Type::kReadStream), path(std::move(filePath)) {}

  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFReadStream", this, file ? u"open" : u"closed");
  }

  const std::string path;
  platform::UniqueFd file;
};

extern "C" {

CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef, CFURLRef url) {
  UInt8 path[PATH_MAX];
  if (url == nullptr || !CFURLGetFileSystemRepresentation(url, true, path, sizeof path)) return nullptr;
  return new __CFReadStream(reinterpret_cast<const char*>(path));
}

Boolean CFReadStreamOpen(CFReadStreamRef stream) {
  if (stream->file) return false;
  // Another user may have put a FIFO there, which would hold the caller up.
  platform::UniqueFd file(open(stream->path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status;
  if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  stream->file = std::move(file);
  return true;
}

CFIndex CFReadStreamRead(CFReadStreamRef stream, UInt8* buffer, CFIndex size) {
  if (!stream->file || buffer == nullptr || size < 0) return -1;
  ssize_t count;
  do {
    count = read(stream->file.Get(), buffer, static_cast<size_t>(size));
  } while (count < 0 && errno == EINTR);
  return count;
}

void CFReadStreamClose(CFReadStreamRef stream) { stream->file.Reset(); }

}  // extern "C"
