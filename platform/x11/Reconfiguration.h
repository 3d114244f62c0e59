// What the displays' listeners are told about a change.
#pragma once
#include <CoreGraphics/CGDisplayConfiguration.h>

#include <vector>

#include "platform/x11/Displays.h"

namespace platform::x11 {

struct DisplayNotice {
  CGDirectDisplayID display;
  CGDisplayChangeSummaryFlags flags;
  bool operator==(const DisplayNotice&) const = default;
};

// First the begin of the change for every display of `before`, then its outcome for every display of either
// list, those of `after` first. Empty when nothing is different.
[[nodiscard]] std::vector<DisplayNotice> NoticesOf(const DisplayList& before, const DisplayList& after);

}  // namespace platform::x11
