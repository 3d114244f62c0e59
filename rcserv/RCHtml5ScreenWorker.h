// Captures what was redrawn on the displays into the shared screen.
#pragma once
#include <ApplicationServices/ApplicationServices.h>

#include <deque>
#include <memory>

#include "rcserv/Bitmap.h"
#include "rcserv/Mutex.h"
#include "rcserv/RCHtml5Screener.h"
#include "rcserv/Rect.h"
#include "rcserv/SharedScreenWorkerApple.h"

// Lives on the capture thread; the two callbacks run on the window server's. A steady stream of updates
// allocates nothing: the drawing bitmap only grows, and all else is kept.
class RCHtml5Screener::ScreenWorker : public rcserv::SharedScreenWorker {
 public:
  // The bounding box of everything that was redrawn since it was last fetched; all zero when nothing was.
  struct RectQueue {
    rcserv::Mutex lock;
    rcserv::Rect rect GUARDED_BY(lock);
  };

  ScreenWorker();
  ~ScreenWorker() override;

  // The user data is the RectQueue.
  static void ScreenRefreshCallback(uint32_t count, const CGRect* rects, void* userData);
  static void DisplayReconfigurationCallback(CGDirectDisplayID display, CGDisplayChangeSummaryFlags flags,
                                             void* userData);

 protected:
  bool CaptureScreen(int32_t x, int32_t y, const rcserv::Rect& bounds,
                     rcserv::BitmapT<rcserv::kScreenFormat>& target, std::deque<rcserv::Rect>& changed,
                     bool full) override;

  RectQueue rect_queue_;

 private:
  struct ColorSpaceRelease {
    void operator()(CGColorSpaceRef space) const noexcept { CGColorSpaceRelease(space); }
  };
  struct ContextRelease {
    void operator()(CGContextRef context) const noexcept { CGContextRelease(context); }
  };

  [[nodiscard]] rcserv::Rect GetChangedRect();
  void AddChangedRect(const rcserv::Rect& rect);

  // `area` is in desktop coordinates and lies within the target, whose corner is (x, y).
  bool CaptureScreenInternal(int32_t x, int32_t y, const rcserv::Rect& area,
                             rcserv::BitmapT<rcserv::kScreenFormat>& target,
                             std::deque<rcserv::Rect>& changed);

  // Makes the drawing bitmap and its context at least this large. False, and both as before, when there is no
  // memory for it.
  [[nodiscard]] bool ResizeContextBitmap(int32_t width, int32_t height);

  std::unique_ptr<std::remove_pointer_t<CGColorSpaceRef>, ColorSpaceRelease> color_space_;
  rcserv::BitmapT<rcserv::kCaptureFormat> bitmap_;
  std::unique_ptr<std::remove_pointer_t<CGContextRef>, ContextRelease> context_;  // draws into bitmap_
};
