// The server's display controllers, each of which drives one mode of one or more outputs.
#pragma once
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

}  // namespace platform::x11
