// Whether this service's own display can be shown.
#pragma once
#include <string>

namespace remote {

// Why there is none, in words; empty when there is one, and when the display is another user's, whom the
// observer is started for. Some seconds when the display's server does not answer. Any thread.
[[nodiscard]] std::string WhyNoDisplay();

}  // namespace remote
