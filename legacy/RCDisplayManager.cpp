#include "legacy/RCDisplayManager.h"

#include "legacy/FullScreenContext.h"

RCDisplayManager& RCDisplayManager::instance() {
  static RCDisplayManager* const manager = new RCDisplayManager;
  return *manager;
}

void RCDisplayManager::addDisplay(int32_t index, CGDirectDisplayID display, CGRect bounds) {
  displayBounds_[display] = bounds;
  displayIDs_[index] = display;
  changeRects_[index] = CGRectZero;
  const Locked locked(desktopLock_);
  desktopBounds_ = CGRectUnion(bounds, desktopBounds_);
}

CGRect RCDisplayManager::desktopBounds() const {
  const Locked locked(desktopLock_);
  return desktopBounds_;
}

bool RCDisplayManager::addRectToChangeRect(int32_t index, CGRect rect) {
  const CGRect clipped = CGRectIntersection(rect, displayBounds(displayID(index)));
  const CGRect before = changeRect(index);
  if (CGRectIsEmpty(clipped)) return false;
  const CGRect after = CGRectIsEmpty(before) ? clipped : CGRectUnion(clipped, before);
  changeRects_[index] = after;
  return CGRectEqualToRect(after, before);
}

void RCDisplayManager::clearChangeRect(int32_t index) { changeRects_[index] = CGRectZero; }

void RCDisplayManager::clearAllChangeRects() {
  for (int32_t index = 0; index < displayCount(); ++index) clearChangeRect(index);
}

void RCDisplayManager::changeAllDisplays() {
  for (int32_t index = 0; index < displayCount(); ++index) {
    changeRects_[index] = displayBounds(displayID(index));
  }
}

CGLContextObj RCDisplayManager::getContextForDisplay(CGDirectDisplayID display) {
  const auto known = contexts_.find(display);
  if (known != contexts_.end()) return known->second;
  return contexts_[display] = CreateContext(display);
}
