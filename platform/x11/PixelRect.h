// Rectangles of whole pixels, and how rectangles of doubles become them.
#pragma once
#include <CoreGraphics/CGGeometry.h>

#include <algorithm>
#include <cmath>

namespace platform::x11 {

// Right and bottom exclusive; empty when they do not lie beyond left and top.
struct PixelRect {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  [[nodiscard]] int Width() const { return right - left; }
  [[nodiscard]] int Height() const { return bottom - top; }
  [[nodiscard]] bool IsEmpty() const { return right <= left || bottom <= top; }
  bool operator==(const PixelRect&) const = default;
};

inline PixelRect Intersection(const PixelRect& a, const PixelRect& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
          std::min(a.bottom, b.bottom)};
}

// The smallest one around both.
inline PixelRect Union(const PixelRect& a, const PixelRect& b) {
  if (a.IsEmpty()) return b;
  if (b.IsEmpty()) return a;
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
          std::max(a.bottom, b.bottom)};
}

inline CGRect ToCGRect(const PixelRect& rect) {
  return CGRectMake(rect.left, rect.top, rect.Width(), rect.Height());
}

// The whole pixels around `rect` that lie within `bounds`; empty for a rectangle with a value that is not a
// number. Clipped while still in doubles, so that no value overflows.
inline PixelRect PixelsWithin(CGRect rect, const PixelRect& bounds) {
  const double left = std::max<double>(CGRectGetMinX(rect), bounds.left);
  const double top = std::max<double>(CGRectGetMinY(rect), bounds.top);
  const double right = std::min<double>(CGRectGetMaxX(rect), bounds.right);
  const double bottom = std::min<double>(CGRectGetMaxY(rect), bounds.bottom);
  if (std::isnan(rect.origin.x + rect.size.width) || std::isnan(rect.origin.y + rect.size.height)) return {};
  if (!(left < right && top < bottom)) return {};
  return {static_cast<int>(std::floor(left)), static_cast<int>(std::floor(top)),
          static_cast<int>(std::ceil(right)), static_cast<int>(std::ceil(bottom))};
}

}  // namespace platform::x11
