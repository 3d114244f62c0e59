// Starts a child that records its PID, and waits to be ended: test_launcher FOLDER KEY.
//
// Exit status: 0 when the child recorded itself and nothing else happened.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/KCPidUtils.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const pid_t child = fork();
  if (child == 0) {
    KCPutProcessPIDInFile(argv[1], argv[2]);
    _exit(0);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return 3;
  return status;
}
