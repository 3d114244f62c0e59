// Owners for what the operating system hands out: file descriptors and memory from malloc.
#pragma once
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <utility>

namespace platform {

// Owns a file descriptor and closes it; -1 means none.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.Release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    Reset(other.Release());
    return *this;
  }
  ~UniqueFd() { Reset(); }

  [[nodiscard]] int Get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  [[nodiscard]] int Release() { return std::exchange(fd_, -1); }
  void Reset(int fd = -1) {
    if (fd_ >= 0 && fd_ != fd) close(fd_);
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};
template <class T>
using MallocPtr = std::unique_ptr<T, FreeDeleter>;

}  // namespace platform
