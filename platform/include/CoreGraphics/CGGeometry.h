// Points, sizes and rectangles in double coordinates.
#pragma once

using CGFloat = double;

struct CGPoint {
  CGFloat x;
  CGFloat y;
};
struct CGSize {
  CGFloat width;
  CGFloat height;
};
// A negative width or height is allowed and means the same area measured from the other side.
struct CGRect {
  CGPoint origin;
  CGSize size;
};

extern "C" {

extern const CGRect CGRectZero;
extern const CGRect CGRectNull;  // what an intersection of disjoint rectangles is

CGFloat CGRectGetMinX(CGRect rect);
CGFloat CGRectGetMinY(CGRect rect);
CGFloat CGRectGetMaxX(CGRect rect);
CGFloat CGRectGetMaxY(CGRect rect);
CGFloat CGRectGetWidth(CGRect rect);
CGFloat CGRectGetHeight(CGRect rect);

// Null, or without width or height.
bool CGRectIsEmpty(CGRect rect);
bool CGRectIsNull(CGRect rect);
bool CGRectEqualToRect(CGRect a, CGRect b);
CGRect CGRectIntersection(CGRect a, CGRect b);
bool CGRectIntersectsRect(CGRect a, CGRect b);
// The smallest rectangle around both. An empty one counts with its place; a null one leaves the other.
CGRect CGRectUnion(CGRect a, CGRect b);
// The same area with a width and height that are not negative; null stays null.
CGRect CGRectStandardize(CGRect rect);
// The smallest rectangle with whole corners around it, standardised; null stays null.
CGRect CGRectIntegral(CGRect rect);
// Moved, standardised; null stays null.
CGRect CGRectOffset(CGRect rect, CGFloat dx, CGFloat dy);

}  // extern "C"

inline constexpr CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
  return {{x, y}, {width, height}};
}
