#include "rcserv/RCHtml5DisplayImages.h"

#include <algorithm>

#include "rcserv/CGRectConversion.h"

RCHtml5Screener::DisplayImageRefs::DisplayImageRefs(const rcserv::Rect& area) {
  std::array<CGDirectDisplayID, kMaxDisplays> displays{};
  uint32_t found = 0;
  if (CGGetDisplaysWithRect(rcserv::ToCGRect(area), kMaxDisplays, displays.data(), &found) != kCGErrorSuccess)
    return;
  for (const CGDirectDisplayID display : std::span(displays).first(std::min(found, kMaxDisplays))) {
    const rcserv::Rect bounds = rcserv::ToRect(CGDisplayBounds(display));
    const rcserv::Rect part = Intersect(area, bounds);
    if (part.IsEmpty()) continue;
    // A display's picture counts from the display's own corner.
    const rcserv::Rect own = Translate(part, -int64_t{bounds.left}, -int64_t{bounds.top});
    DisplayImageInfo& info = images_[count_++];
    info.display = display;
    info.part = part;
    info.image.reset(CGDisplayCreateImageForRect(display, rcserv::ToCGRect(own)));
  }
}
