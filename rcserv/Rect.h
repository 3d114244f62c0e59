// A rectangle of whole pixels.
#pragma once
#include <algorithm>
#include <cstdint>
#include <limits>

namespace rcserv {

// The nearest value that 32 bits hold.
constexpr int32_t Saturate32(int64_t value) {
  return static_cast<int32_t>(
      std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

// `right` and `bottom` are exclusive.
struct Rect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;

  constexpr bool operator==(const Rect&) const = default;

  [[nodiscard]] constexpr int32_t Width() const { return Saturate32(int64_t{right} - left); }
  [[nodiscard]] constexpr int32_t Height() const { return Saturate32(int64_t{bottom} - top); }

  // Holds no pixel.
  [[nodiscard]] constexpr bool IsEmpty() const { return right <= left || bottom <= top; }

  // Without extent in either direction. A line, empty in one direction only, still counts when areas are
  // united.
  [[nodiscard]] constexpr bool IsPoint() const { return left == right && top == bottom; }
};

constexpr Rect MakeLTRB(int32_t left, int32_t top, int32_t right, int32_t bottom) {
  return {left, top, right, bottom};
}
constexpr Rect MakeXYWH(int32_t x, int32_t y, int32_t width, int32_t height) {
  return {x, y, Saturate32(int64_t{x} + width), Saturate32(int64_t{y} + height)};
}

constexpr Rect Translate(const Rect& rect, int64_t dx, int64_t dy) {
  return {Saturate32(rect.left + dx), Saturate32(rect.top + dy), Saturate32(rect.right + dx),
          Saturate32(rect.bottom + dy)};
}

// May have its edges in reverse when the two do not meet; IsEmpty() tells.
constexpr Rect Intersect(const Rect& a, const Rect& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
          std::min(a.bottom, b.bottom)};
}

// The bounding box. A point adds nothing; a union that is still a point becomes `rect`.
constexpr Rect Unite(const Rect& area, const Rect& rect) {
  if (rect.IsPoint()) return area;
  if (area.IsPoint()) return rect;
  return {std::min(area.left, rect.left), std::min(area.top, rect.top), std::max(area.right, rect.right),
          std::max(area.bottom, rect.bottom)};
}

}  // namespace rcserv
