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
};

// Asks the store. The first call comes before other threads use it.
[[nodiscard]] Preferences ReadPreferences();
// How long a session may go without input; 0: without end. Writes the store where it lacks the setting.
[[nodiscard]] std::chrono::milliseconds ReadIdleLimit();

}  // namespace remote
