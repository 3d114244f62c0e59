// Between the window system's rectangles of doubles and ours of whole pixels.
#pragma once
#include <ApplicationServices/ApplicationServices.h>

#include <algorithm>
#include <limits>

#include "rcserv/Rect.h"

namespace rcserv {

// Truncates toward zero; what 32 bits do not hold becomes the nearest value that they do, and not-a-number 0.
inline int32_t TruncateToInt32(double value) {
  if (value != value) return 0;
  return static_cast<int32_t>(
      std::clamp<double>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

inline Rect ToRect(const CGRect& rect) {
  return MakeLTRB(TruncateToInt32(CGRectGetMinX(rect)), TruncateToInt32(CGRectGetMinY(rect)),
                  TruncateToInt32(CGRectGetMaxX(rect)), TruncateToInt32(CGRectGetMaxY(rect)));
}

inline CGRect ToCGRect(const Rect& rect) {
  return CGRectMake(rect.left, rect.top, rect.Width(), rect.Height());
}

}  // namespace rcserv
