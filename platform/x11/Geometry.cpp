// Rectangles in double coordinates. Comparisons are written so that a value that is not a number makes the
// result null or false.
#include <CoreGraphics/CGGeometry.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

}  // namespace

const CGRect CGRectZero = {{0, 0}, {0, 0}};
const CGRect CGRectNull = {{kInfinity, kInfinity}, {0, 0}};

CGFloat CGRectGetMinX(CGRect rect) { return rect.origin.x + std::min(rect.size.width, 0.0); }
CGFloat CGRectGetMinY(CGRect rect) { return rect.origin.y + std::min(rect.size.height, 0.0); }
CGFloat CGRectGetMaxX(CGRect rect) { return rect.origin.x + std::max(rect.size.width, 0.0); }
CGFloat CGRectGetMaxY(CGRect rect) { return rect.origin.y + std::max(rect.size.height, 0.0); }
CGFloat CGRectGetWidth(CGRect rect) { return std::abs(rect.size.width); }
CGFloat CGRectGetHeight(CGRect rect) { return std::abs(rect.size.height); }

bool CGRectIsNull(CGRect rect) { return rect.origin.x == kInfinity || rect.origin.y == kInfinity; }

bool CGRectIsEmpty(CGRect rect) {
  return CGRectIsNull(rect) || rect.size.width == 0 || rect.size.height == 0;
}

bool CGRectEqualToRect(CGRect a, CGRect b) {
  if (CGRectIsNull(a) || CGRectIsNull(b)) return CGRectIsNull(a) && CGRectIsNull(b);
  return CGRectGetMinX(a) == CGRectGetMinX(b) && CGRectGetMinY(a) == CGRectGetMinY(b) &&
         CGRectGetWidth(a) == CGRectGetWidth(b) && CGRectGetHeight(a) == CGRectGetHeight(b);
}

CGRect CGRectIntersection(CGRect a, CGRect b) {
  if (CGRectIsNull(a) || CGRectIsNull(b)) return CGRectNull;
  const double left = std::max(CGRectGetMinX(a), CGRectGetMinX(b));
  const double top = std::max(CGRectGetMinY(a), CGRectGetMinY(b));
  const double right = std::min(CGRectGetMaxX(a), CGRectGetMaxX(b));
  const double bottom = std::min(CGRectGetMaxY(a), CGRectGetMaxY(b));
  const bool overlapsX = CGRectGetMinX(a) < CGRectGetMaxX(b) && CGRectGetMinX(b) < CGRectGetMaxX(a);
  const bool overlapsY = CGRectGetMinY(a) < CGRectGetMaxY(b) && CGRectGetMinY(b) < CGRectGetMaxY(a);
  if (!overlapsX || !overlapsY) return CGRectNull;
  return CGRectMake(left, top, right - left, bottom - top);
}

bool CGRectIntersectsRect(CGRect a, CGRect b) { return !CGRectIsNull(CGRectIntersection(a, b)); }

CGRect CGRectUnion(CGRect a, CGRect b) {
  if (CGRectIsNull(a)) return b;
  if (CGRectIsNull(b)) return a;
  const double left = std::min(CGRectGetMinX(a), CGRectGetMinX(b));
  const double top = std::min(CGRectGetMinY(a), CGRectGetMinY(b));
  const double right = std::max(CGRectGetMaxX(a), CGRectGetMaxX(b));
  const double bottom = std::max(CGRectGetMaxY(a), CGRectGetMaxY(b));
  return CGRectMake(left, top, right - left, bottom - top);
}

CGRect CGRectStandardize(CGRect rect) {
  if (CGRectIsNull(rect)) return CGRectNull;
  return CGRectMake(CGRectGetMinX(rect), CGRectGetMinY(rect), CGRectGetWidth(rect), CGRectGetHeight(rect));
}

CGRect CGRectIntegral(CGRect rect) {
  if (CGRectIsNull(rect)) return CGRectNull;
  const double left = std::floor(CGRectGetMinX(rect));
  const double top = std::floor(CGRectGetMinY(rect));
  return CGRectMake(left, top, std::ceil(CGRectGetMaxX(rect)) - left, std::ceil(CGRectGetMaxY(rect)) - top);
}

CGRect CGRectOffset(CGRect rect, CGFloat dx, CGFloat dy) {
  if (CGRectIsNull(rect)) return CGRectNull;
  const CGRect standard = CGRectStandardize(rect);
  return CGRectMake(standard.origin.x + dx, standard.origin.y + dy, standard.size.width,
                    standard.size.height);
}
