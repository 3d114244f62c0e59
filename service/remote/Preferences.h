// What the machine's settings say about remote control.
#pragma once
#include <chrono>

#include "service/remote/ServiceMessages.h"

namespace remote {

struct Preferences {
  bool session = false;     // the desktop may be seen and controlled
  Permissions permissions;  // in such a session
  bool notify = false;      // the user is told
  bool ask = false;         // and asked
  std::chrono::milliseconds idle{};
};

// Asks the store. The first call comes before other threads use it.
[[nodiscard]] Preferences ReadPreferences();

}  // namespace remote
