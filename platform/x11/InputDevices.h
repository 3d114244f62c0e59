// The keyboards and pointers that the server has now.
#pragma once
#include <cstdint>
#include <vector>

namespace platform::x11 {

class Connection;

struct InputDevice {
  uint16_t id = 0;
  enum class Kind {
    kMaster,  // what programs see: the sum of its slaves
    kSlave,   // a device of the machine
    kPosting  // a slave that the server has for posted events
  } kind = Kind::kMaster;
  bool keyboard = false;
  bool enabled = false;
  // Of a master keyboard: the slave whose keymap and settings it has, which is the one that was used last.
  uint16_t keySource = 0;
};

// Empty without a server and without its extension for input devices.
[[nodiscard]] std::vector<InputDevice> ReadInputDevices(Connection& connection);

}  // namespace platform::x11
