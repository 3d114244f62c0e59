// The name of a listening Unix socket in the file system, removed only while it is still the one that was
// made.
#pragma once
#include <sys/types.h>
#include <time.h>

#include <string>

namespace platform {

// One thread at a time. The destructor removes nothing: a name outlives its holder unless Remove() is called.
class LocalSocketName {
 public:
  // Binds the unbound stream socket to `path`, in place of whatever has that name. 0 or an errno value.
  // Nobody can connect before the caller listens, and with the usual mode nobody but its owner and root.
  [[nodiscard]] int Bind(int socket, const std::string& path, mode_t mode = 0600);

  // Lets another user connect instead. 0 or an errno value.
  [[nodiscard]] int GiveTo(uid_t owner);

  // Removes the name unless another process has put its own there meanwhile; nothing when nothing is bound.
  void Remove();

 private:
  [[nodiscard]] int Recognise();

  std::string path_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  timespec changed_{};  // the number of a file that is gone is given to the next one
};

}  // namespace platform
