#include "platform/x11/Reconfiguration.h"

namespace platform::x11 {
namespace {

// The smallest rectangle around all displays.
PixelRect DesktopShape(const DisplayList& displays) {
  PixelRect shape;
  for (const DisplayInfo& display : displays) shape = Union(shape, display.bounds);
  return shape;
}

CGDisplayChangeSummaryFlags Difference(const DisplayInfo* before, const DisplayInfo& after) {
  if (before == nullptr) return kCGDisplayAddFlag | (after.main ? kCGDisplaySetMainFlag : 0U);
  CGDisplayChangeSummaryFlags flags = 0;
  if (before->bounds.left != after.bounds.left || before->bounds.top != after.bounds.top)
    flags |= kCGDisplayMovedFlag;
  if (before->bounds.Width() != after.bounds.Width() || before->bounds.Height() != after.bounds.Height()) {
    flags |= kCGDisplaySetModeFlag;
  }
  if (after.main && !before->main) flags |= kCGDisplaySetMainFlag;
  return flags;
}

}  // namespace

std::vector<DisplayNotice> NoticesOf(const DisplayList& before, const DisplayList& after) {
  const CGDisplayChangeSummaryFlags shape =
      DesktopShape(before) == DesktopShape(after) ? 0U : kCGDisplayDesktopShapeChangedFlag;
  std::vector<DisplayNotice> notices;
  for (const DisplayInfo& display : before) notices.push_back({display.id, kCGDisplayBeginConfigurationFlag});
  bool different = before.size() != after.size();
  for (const DisplayInfo& display : after) {
    const CGDisplayChangeSummaryFlags flags = Difference(Find(before, display.id), display);
    different = different || flags != 0;
    notices.push_back({display.id, flags | shape});
  }
  for (const DisplayInfo& display : before) {
    if (Find(after, display.id) == nullptr) notices.push_back({display.id, kCGDisplayRemoveFlag | shape});
  }
  if (!different) notices.clear();
  return notices;
}

}  // namespace platform::x11
