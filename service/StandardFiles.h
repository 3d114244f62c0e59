// The three standard files of a program that may have been started without them.
#pragma once
#include <fcntl.h>
#include <unistd.h>

// Opens those that are closed as nothing: a descriptor that is opened later must not be taken for one of the
// three.
inline void OpenStandardFiles() {
  int fd = 0;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd >= 0) close(fd);
}
