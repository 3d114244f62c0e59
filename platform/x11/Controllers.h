// The server's display controllers, each of which drives one mode of one or more outputs.
#pragma once
#include <CoreGraphics/CGError.h>

#include <cstdint>
#include <vector>

#include "platform/x11/PixelRect.h"

namespace platform::x11 {

class Connection;

struct Controller {
  uint32_t id = 0;
  PixelRect area;  // in root coordinates
  uint32_t mode = 0;
  double refreshRate = 0;  // in Hz; 0: the server does not tell
};

// Those that show something.
[[nodiscard]] std::vector<Controller> ReadControllers(Connection& connection);

// Drives the controller in another mode at the same place. The others stay where they are, and the root
// becomes as large as all of them together. kCGErrorIllegalArgument for a mode that an output of the
// controller does not have; kCGErrorCannotComplete when the server refuses or is gone, and then nothing has
// changed.
[[nodiscard]] CGError SwitchController(Connection& connection, uint32_t controller, uint32_t mode);

}  // namespace platform::x11
