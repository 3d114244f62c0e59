// Whether there is a display to be shown.
#pragma once
#include <string>

namespace remote {

// Why there is none, in words; empty when there is one. In the default root folder it is the console user's,
// for whom the dispatcher starts the observer; in any other this process's own. Some seconds when the
// display's server does not answer. Any thread.
[[nodiscard]] std::string WhyNoDisplay();

}  // namespace remote
