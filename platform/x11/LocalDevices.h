// The keyboards and pointers of the machine, which can be kept silent.
#pragma once
#include <CoreGraphics/CGError.h>

#include <cstdint>
#include <set>

namespace platform::x11 {

class Connection;

// One thread, which hears of new devices on the connection. A silent device is one that the connection has
// grabbed, so the server lets it go when the connection ends, however the process does.
class LocalDevices {
 public:
  explicit LocalDevices(Connection& connection) : connection_(connection) {}

  // All or none: an error when somebody else keeps one, which is also said on the console. A machine without
  // devices of its own is silent already.
  [[nodiscard]] CGError Silence();
  void Release();

  // Whether the event, one of XCB's, says that there may be new devices.
  [[nodiscard]] bool IsNewDevice(const void* event) const;
  // To be called upon that.
  void Adapt();

 private:
  // What the user holds when the devices fall silent would stay down, and repeat: its release is not heard
  // any more. False when somebody else has taken a device meanwhile.
  [[nodiscard]] bool LetGo();
  // False when one is refused; the others are held.
  [[nodiscard]] bool GrabOthers();
  // A refusal is said on the console.
  [[nodiscard]] bool Grab(uint16_t device);
  void Ungrab(uint16_t device);

  Connection& connection_;
  bool silent_ = false;
  std::set<uint16_t> held_;
};

}  // namespace platform::x11
