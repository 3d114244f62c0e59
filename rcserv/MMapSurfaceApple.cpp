#include "rcserv/MMapSurfaceApple.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "platform/System.h"
#include "rcserv/System.h"

namespace rcserv {

namespace {

constexpr mode_t kEveryoneReadsAndWrites = 0666;  // less what the process's file-creation mask takes away

double KiB(int64_t bytes) { return static_cast<double>(bytes) / 1024; }

platform::UniqueFd OpenFile(const std::string& name, MMapSurface::FileMode mode) {
  if (mode == MMapSurface::FileMode::kOpen)
    return platform::UniqueFd(open(name.c_str(), O_RDONLY | O_CLOEXEC));
  unlink(name.c_str());
  return platform::UniqueFd(
      open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kEveryoneReadsAndWrites));
}

}  // namespace

RefCountedPtrT<MMapSurface> MMapSurface::CreateSP(PixelFormat format, int32_t width, int32_t height,
                                                  int32_t stride, const std::string& name, FileMode mode) {
  const int64_t length = std::abs(int64_t{stride}) * height;
  platform::UniqueFd file = OpenFile(name, mode);
  if (!file) {
    rcservDebugMsg(1, __FILE__, __LINE__, "Failed MMapSurface open/create: %d %s\n", errno, name.c_str());
    return {};
  }
  // From here on the destructor closes the file and removes its name.
  auto surface =
      RefCountedPtrT<MMapSurface>::MakeRefCountable(new (std::nothrow) MMapSurface(name, std::move(file)));
  if (!surface || (mode == FileMode::kCreate && !surface->SetLength(length)) || !surface->Map(length, mode))
    return {};
  surface->set(format, width, height, stride, surface->address_,
               mode == FileMode::kOpen ? kRead : kReadWrite);
  return surface;
}

MMapSurface::MMapSurface(std::string name, platform::UniqueFd file)
    : name_(std::move(name)), file_(std::move(file)) {}

MMapSurface::~MMapSurface() {
  if (address_ != nullptr) munmap(address_, length_);
  file_.Reset();
  unlink(name_.c_str());
}

bool MMapSurface::SetLength(int64_t length) const {
  int error = 0;
  if (length > std::numeric_limits<int32_t>::max()) {
    error = EFBIG;
  } else if (ftruncate(file_.Get(), length) != 0) {
    error = errno;
  } else if (length > 0) {
    error = platform::ReserveFileBlocks(file_.Get(), length);
  }
  if (error != 0)
    rcservDebugMsg(1, __FILE__, __LINE__, "Failed MMapSurface ftruncate: %d (%0.1fKiB)\n", error,
                   KiB(length));
  return error == 0;
}

bool MMapSurface::Map(int64_t length, FileMode mode) {
  int error = 0;
  if (length < 1) {
    error = EINVAL;
  } else if (length > std::numeric_limits<int32_t>::max()) {
    error = EFBIG;
  } else {
    const int protection = mode == FileMode::kOpen ? PROT_READ : PROT_READ | PROT_WRITE;
    void* const address = mmap(nullptr, static_cast<size_t>(length), protection, MAP_SHARED, file_.Get(), 0);
    if (address == MAP_FAILED) {
      error = errno;
    } else {
      address_ = address;
      length_ = static_cast<uint64_t>(length);
    }
  }
  if (error != 0)
    rcservDebugMsg(1, __FILE__, __LINE__, "Failed MMapSurface mmap: %d (%0.1fKiB)\n", error, KiB(length));
  return error == 0;
}

int64_t MMapSurface::FileLength() const {
  struct stat found {};
  return fstat(file_.Get(), &found) == 0 ? int64_t{found.st_size} : 0;
}

}  // namespace rcserv
