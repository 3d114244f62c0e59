// What the other files of this folder ask of a number beyond its value.
#pragma once
#include <CoreFoundation/CFNumber.h>

namespace platform::cf {

// Whether it was made of a real, though that may have no fraction.
[[nodiscard]] bool HoldsReal(CFNumberRef number);

}  // namespace platform::cf
