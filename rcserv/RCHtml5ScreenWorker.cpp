#include "rcserv/RCHtml5ScreenWorker.h"

#include <algorithm>
#include <utility>

#include "common/KCDebugging.h"
#include "rcserv/CGRectConversion.h"
#include "rcserv/RCHtml5DisplayImages.h"

using rcserv::kCaptureFormat;
using rcserv::kScreenFormat;
using rcserv::MutexHold;
using rcserv::Rect;

namespace {

// The layout of the capture format: 32-bit little-endian pixels whose highest byte is skipped.
constexpr CGBitmapInfo kCaptureLayout = kCGBitmapByteOrder32Little | kCGImageAlphaNoneSkipFirst;
static_assert(kCaptureLayout == 0x2006);

}  // namespace

RCHtml5Screener::ScreenWorker::ScreenWorker() : color_space_(CGColorSpaceCreateDeviceRGB()) {
  KCSignalIf(!rect_queue_.lock.Valid(), "RCHtml5Screener::ScreenWorker: rect_queue_.lock not valid");
  const CGError refresh = CGRegisterScreenRefreshCallback(ScreenRefreshCallback, &rect_queue_);
  KCSignalIf(refresh != kCGErrorSuccess,
             "RCHtml5Screener::ScreenWorker: CGRegisterScreenRefreshCallback err=%d", refresh);
  const CGError reconfiguration =
      CGDisplayRegisterReconfigurationCallback(DisplayReconfigurationCallback, nullptr);
  KCSignalIf(reconfiguration != kCGErrorSuccess,
             "RCHtml5Screener::ScreenWorker: CGDisplayRegisterReconfigurationCallback err=%d",
             reconfiguration);
}

RCHtml5Screener::ScreenWorker::~ScreenWorker() {
  CGUnregisterScreenRefreshCallback(ScreenRefreshCallback, &rect_queue_);
  CGDisplayRemoveReconfigurationCallback(DisplayReconfigurationCallback, nullptr);
}

void RCHtml5Screener::ScreenWorker::ScreenRefreshCallback(uint32_t count, const CGRect* rects,
                                                          void* userData) {
  if (count == 0 || rects == nullptr || userData == nullptr) return;
  RectQueue& queue = *static_cast<RectQueue*>(userData);
  const MutexHold hold(queue.lock);
  for (const CGRect& rect : std::span(rects, count)) queue.rect = Unite(queue.rect, rcserv::ToRect(rect));
}

void RCHtml5Screener::ScreenWorker::DisplayReconfigurationCallback(CGDirectDisplayID,
                                                                   CGDisplayChangeSummaryFlags, void*) {
  SetDisplayChange();
}

Rect RCHtml5Screener::ScreenWorker::GetChangedRect() {
  const MutexHold hold(rect_queue_.lock);
  return std::exchange(rect_queue_.rect, Rect());
}

void RCHtml5Screener::ScreenWorker::AddChangedRect(const Rect& rect) {
  const MutexHold hold(rect_queue_.lock);
  rect_queue_.rect = Unite(rect_queue_.rect, rect);
}

bool RCHtml5Screener::ScreenWorker::CaptureScreen(int32_t x, int32_t y, const Rect& bounds,
                                                  rcserv::BitmapT<kScreenFormat>& target,
                                                  std::deque<Rect>& changed, bool full) {
  const Rect pending = GetChangedRect();
  const Rect desktop = Translate(bounds, x, y);
  if (full) return CaptureScreenInternal(x, y, desktop, target, changed);
  if (pending.IsEmpty()) return false;
  const Rect area = Intersect(pending, desktop);
  return !area.IsEmpty() && CaptureScreenInternal(x, y, area, target, changed);
}

bool RCHtml5Screener::ScreenWorker::CaptureScreenInternal(int32_t x, int32_t y, const Rect& area,
                                                          rcserv::BitmapT<kScreenFormat>& target,
                                                          std::deque<Rect>& changed) {
  const DisplayImageRefs displays(area);
  if (!ResizeContextBitmap(area.Width(), area.Height())) {
    AddChangedRect(area);
    return false;
  }
  for (const DisplayImageRefs::DisplayImageInfo& info : displays.Images()) {
    if (!info.image) {
      // The display changes at this moment, or memory is short: the part is tried again with the next update.
      AddChangedRect(info.part);
      continue;
    }
    const Rect place = Translate(info.part, -int64_t{area.left}, -int64_t{area.top});
    // The context counts upwards from the bitmap's lower edge; the area lies at its upper left.
    CGContextDrawImage(
        context_.get(),
        CGRectMake(place.left, bitmap_->height() - place.bottom, place.Width(), place.Height()),
        info.image.get());
    static_cast<void>(bitmap_.DrawTo(place.left, place.top, target, info.part.left - x, info.part.top - y,
                                     place.Width(), place.Height(),
                                     rcserv::PixelTransformT<kCaptureFormat, kScreenFormat>()));
  }
  changed.push_back(area);
  return true;
}

bool RCHtml5Screener::ScreenWorker::ResizeContextBitmap(int32_t width, int32_t height) {
  if (bitmap_ && context_ && width <= bitmap_->width() && height <= bitmap_->height()) return true;
  if (bitmap_) {
    width = std::max(width, bitmap_->width());
    height = std::max(height, bitmap_->height());
  }
  const rcserv::BitmapT<kCaptureFormat> bitmap(rcserv::Surface::CreateSP(kCaptureFormat, width, height));
  if (!bitmap) return false;
  decltype(context_) context(
      CGBitmapContextCreate(bitmap->BitsAt(0, 0), static_cast<size_t>(width), static_cast<size_t>(height), 8,
                            static_cast<size_t>(bitmap->stride()), color_space_.get(), kCaptureLayout));
  if (!context) return false;
  context_ = std::move(context);
  bitmap_ = bitmap;
  return true;
}
