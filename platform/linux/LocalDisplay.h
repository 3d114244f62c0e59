// Names of X displays, as in DISPLAY.
#pragma once
#include <optional>

namespace platform {

// The number of the display; nothing when it is one of another machine, or no display at all. Null: the one
// that DISPLAY names.
std::optional<int> LocalDisplayNumber(const char* name);

}  // namespace platform
