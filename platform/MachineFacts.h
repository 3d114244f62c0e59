// What the machine and its system tell about themselves.
//
// Any thread. What is not told is empty or 0. `root` is the folder under which the system's own files are
// looked for, "/" for this machine.
#pragma once
#include <cstdint>
#include <string>

namespace platform {

struct HardwareFacts {
  std::string model;
  std::string processor;
  int64_t processors = 0;
  int64_t memoryBytes = 0;  // that the system can use
  std::string serialNumber;
  // 36 characters, upper case: the firmware's identifier of the machine, where it has one and this user may
  // read it, which as a rule root alone may. Else one that is made from the identifier that this installation
  // of the system has, and does not show it. Both are the same after every start; a program of root's and one
  // of a user's can see different ones, so whoever needs one for good keeps the first.
  std::string uuid;
};
HardwareFacts ReadHardwareFacts(const std::string& root);

struct SoftwareFacts {
  std::string system;  // name and version
  std::string kernel;  // name and release
  std::string hostName;
  std::string userName;  // of the account that asks
  int64_t uptimeSeconds = 0;
};
SoftwareFacts ReadSoftwareFacts(const std::string& root);

}  // namespace platform
