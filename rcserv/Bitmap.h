// A surface seen as pixels of one format: clipping, and copying into a bitmap of another format.
#pragma once
#include "rcserv/PixelConvert.h"
#include "rcserv/Surface.h"

namespace rcserv {

// How a pixel of format `From` becomes one of format `To`.
template <int From, int To>
struct PixelTransformT;

template <>
struct PixelTransformT<kCaptureFormat, kScreenFormat> {
  constexpr uint16_t operator()(uint32_t pixel) const { return ConvertPixel(pixel); }
  void Row(const std::byte* source, std::byte* destination, int count) const {
    ConvertRow(source, destination, static_cast<size_t>(count));
  }
};

// Holds a surface of format `Format`, or nothing.
template <int Format>
class BitmapT : public RefCountedPtrT<Surface> {
 public:
  BitmapT() = default;
  // Empty when the surface has another format.
  explicit(false) BitmapT(RefCountedPtrT<Surface> surface) : RefCountedPtrT<Surface>(std::move(surface)) {
    if (Valid() && get()->format() != Format) reset();
  }

  // Cuts the width and height of the area at (x, y) so that it ends with the bitmap. False when nothing is
  // left, and for an origin outside: negative ones are rejected, not clipped.
  [[nodiscard]] bool ClipToBitmap(int x, int y, int* w, int* h) const {
    if (!Valid() || *w <= 0 || *h <= 0) return false;
    const Surface& surface = **this;
    if (x < 0 || y < 0 || x >= surface.width() || y >= surface.height()) return false;
    if (*w > surface.width() - x) *w = surface.width() - x;
    if (*h > surface.height() - y) *h = surface.height() - y;
    return true;
  }

  // Copies `w` x `h` pixels at (sx, sy) to (dx, dy) of `dst`, clipped against both. False, and nothing is
  // written, when the destination is read-only or a clip leaves nothing.
  template <int Target, class Transform>
  [[nodiscard]] bool DrawTo(int sx, int sy, BitmapT<Target>& dst, int dx, int dy, int w, int h,
                            const Transform& transform) const {
    if (!dst || dst->read_only()) return false;
    if (!ClipToBitmap(sx, sy, &w, &h) || !dst.ClipToBitmap(dx, dy, &w, &h)) return false;
    if ((*this)->NativeDrawTo(sx, sy, dst->GetNativeSurface(), dx, dy, w, h)) return true;

    const std::byte* source = (*this)->BitsAt(sx, sy);
    std::byte* destination = dst->BitsAt(dx, dy);
    if (source == nullptr || destination == nullptr) return false;
    for (int row = 0; row < h; ++row) {
      transform.Row(source, destination, w);
      source += (*this)->stride();
      destination += dst->stride();
    }
    return true;
  }
};

}  // namespace rcserv
