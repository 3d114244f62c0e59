// Pictures of all displays that an area of the desktop touches.
#pragma once
#include <ApplicationServices/ApplicationServices.h>

#include <array>
#include <memory>
#include <span>

#include "rcserv/RCHtml5Screener.h"
#include "rcserv/Rect.h"

// Taken when it is constructed, released with it. Takes no memory but the pictures'.
class RCHtml5Screener::DisplayImageRefs {
 public:
  struct ImageRelease {
    void operator()(CGImageRef image) const noexcept { CGImageRelease(image); }
  };
  struct DisplayImageInfo {
    CGDirectDisplayID display = kCGNullDirectDisplay;
    rcserv::Rect part;  // of the area, in desktop coordinates; never empty
    std::unique_ptr<std::remove_pointer_t<CGImageRef>, ImageRelease> image;  // null when that failed
  };

  // `area`: desktop coordinates.
  explicit DisplayImageRefs(const rcserv::Rect& area);

  [[nodiscard]] std::span<const DisplayImageInfo> Images() const { return std::span(images_).first(count_); }

 private:
  static constexpr uint32_t kMaxDisplays = 16;

  std::array<DisplayImageInfo, kMaxDisplays> images_;
  size_t count_ = 0;
};
