// The displays that are being served, and what has changed on each since it was last sent.
#pragma once
#include <ApplicationServices/ApplicationServices.h>
#include <OpenGL/OpenGL.h>

#include <cstdint>
#include <map>

#include "platform/ThreadSafety.h"

// Displays have an index, which counts from 0 without gaps, and the platform's identifier. Rectangles are
// global desktop coordinates.
//
// Threads: desktopBounds() on any. All else: displays are registered before other threads read them, and
// change rectangles are touched, under the screener's lock only.
class RCDisplayManager {
 public:
  // Made by the first call, never deleted.
  static RCDisplayManager& instance();

  RCDisplayManager() = default;
  virtual ~RCDisplayManager() = default;
  RCDisplayManager(const RCDisplayManager&) = delete;
  RCDisplayManager& operator=(const RCDisplayManager&) = delete;

  // Nothing is pending for the display afterwards.
  void addDisplay(int32_t index, CGDirectDisplayID display, CGRect bounds);
  // Forgets the bounds of all displays, and so how many there are; all else stays.
  void clearDisplayBounds() { displayBounds_.clear(); }

  // The union of the bounds of every display ever added, and of the desktop's zero point.
  [[nodiscard]] CGRect desktopBounds() const EXCLUDES(desktopLock_);
  [[nodiscard]] int32_t displayCount() const { return static_cast<int32_t>(displayBounds_.size()); }
  // Zero for an index or identifier that is not known, which is then entered with that value.
  CGDirectDisplayID displayID(int32_t index) { return displayIDs_[index]; }
  CGRect displayBounds(CGDirectDisplayID display) { return displayBounds_[display]; }
  CGRect changeRect(int32_t index) { return changeRects_[index]; }

  // Grows what is pending for the display by the part of `rect` that lies on it. True exactly when that part
  // was pending already; false when the pending rectangle grew, and when nothing of `rect` lies on the
  // display.
  bool addRectToChangeRect(int32_t index, CGRect rect);
  void clearChangeRect(int32_t index);
  void clearAllChangeRects();
  // Everything is pending.
  void changeAllDisplays();

  // The display's full-screen context, made by the first call and kept to the end of the process. Null where
  // that failed, which is not tried again.
  CGLContextObj getContextForDisplay(CGDirectDisplayID display);

 private:
  mutable Lock desktopLock_;
  CGRect desktopBounds_ GUARDED_BY(desktopLock_) = CGRectZero;
  std::map<CGDirectDisplayID, CGRect> displayBounds_;
  std::map<CGDirectDisplayID, CGLContextObj> contexts_;
  std::map<int32_t, CGDirectDisplayID> displayIDs_;
  std::map<int32_t, CGRect> changeRects_;  // CGRectZero: nothing is pending
};
