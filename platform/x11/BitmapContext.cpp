// Draws images into memory of the caller's.
#include <CoreGraphics/CGBitmapContext.h>
#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "platform/x11/Image.h"
#include "platform/x11/PixelRect.h"

using platform::x11::Intersection;
using platform::x11::PixelRect;
using platform::x11::PixelsWithin;

struct CGContext {
  std::byte* data = nullptr;
  int width = 0;
  int height = 0;
  size_t strideBytes = 0;
  pixman_format_code_t format = PIXMAN_x8r8g8b8;

  [[nodiscard]] size_t PixelBytes() const { return PIXMAN_FORMAT_BPP(format) / 8; }
  [[nodiscard]] std::byte* At(const PixelRect& area) const {
    return data + static_cast<size_t>(area.top) * strideBytes + static_cast<size_t>(area.left) * PixelBytes();
  }
};

namespace {

// pixman counts in 16.16 fixed point.
constexpr size_t kLongestSide = 32767;
constexpr size_t kImagePixelBytes = 4;  // of the usual format

struct UnrefImage {
  void operator()(pixman_image_t* image) const noexcept { pixman_image_unref(image); }
};
using PixmanImage = std::unique_ptr<pixman_image_t, UnrefImage>;

PixmanImage Wrap(pixman_format_code_t format, int width, int height, const std::byte* pixels,
                 size_t strideBytes) {
  // pixman only reads from a source, though its type does not say so.
  auto* const bits = reinterpret_cast<uint32_t*>(const_cast<std::byte*>(pixels));
  return PixmanImage(
      pixman_image_create_bits_no_clear(format, width, height, bits, static_cast<int>(strideBytes)));
}

// Where the corner `value`, which is a whole number of pixels or nearly so, lies; false when it is not.
bool WholePixel(double value, int& pixel) {
  if (!(std::abs(value) < 1e9)) return false;
  const double whole = std::round(value);
  pixel = static_cast<int>(whole);
  return std::abs(value - whole) < 1e-6;
}

void CopyRow(const std::byte* source, std::byte* destination, size_t count) {
  std::memcpy(destination, source, count * kImagePixelBytes);
}

// 8 bits a component to 5, the upper ones. In blocks, which the compiler turns into vectors.
void ConvertRow(const std::byte* source, std::byte* destination, size_t count) {
  constexpr size_t kBlock = 8;
  const auto convert = [](uint32_t pixel) {
    return static_cast<uint16_t>((pixel >> 9 & 0x7C00) | (pixel >> 6 & 0x03E0) | (pixel >> 3 & 0x001F));
  };
  uint32_t pixels[kBlock] = {};
  uint16_t converted[kBlock];
  for (; count > 0; source += sizeof pixels, destination += sizeof converted) {
    const size_t now = std::min(count, kBlock);
    std::memcpy(pixels, source, now * sizeof *pixels);
    for (size_t i = 0; i < kBlock; ++i) converted[i] = convert(pixels[i]);
    std::memcpy(destination, converted, now * sizeof *converted);
    count -= now;
  }
}

// `left`, `top`: where the image's corner goes, counted from the bitmap's top left; both may lie far outside.
void DrawUnscaled(const CGContext& context, int left, int top, const CGImage& image) {
  const PixelRect target = Intersection({left, top, left + image.width, top + image.height},
                                        {0, 0, context.width, context.height});
  if (target.IsEmpty()) return;
  std::byte* const destination = context.At(target);
  if (image.format == PIXMAN_x8r8g8b8) {
    const std::byte* source = image.pixels + static_cast<size_t>(target.top - top) * image.strideBytes +
                              static_cast<size_t>(target.left - left) * kImagePixelBytes;
    const auto copyRow = context.format == PIXMAN_x8r8g8b8 ? CopyRow : ConvertRow;
    for (int row = 0; row < target.Height(); ++row) {
      copyRow(source + static_cast<size_t>(row) * image.strideBytes,
              destination + static_cast<size_t>(row) * context.strideBytes,
              static_cast<size_t>(target.Width()));
    }
    return;
  }
  const PixmanImage source = Wrap(image.format, image.width, image.height, image.pixels, image.strideBytes);
  const PixmanImage sink =
      Wrap(context.format, target.Width(), target.Height(), destination, context.strideBytes);
  if (!source || !sink) return;
  pixman_image_composite32(PIXMAN_OP_SRC, source.get(), nullptr, sink.get(), target.left - left,
                           target.top - top, 0, 0, 0, 0, target.Width(), target.Height());
}

// `rect` counts from the bitmap's top left. Draws the pixels whose centres lie in it.
void DrawScaled(const CGContext& context, CGRect rect, const CGImage& image) {
  const PixelRect whole{0, 0, context.width, context.height};
  const PixelRect target =
      PixelsWithin(CGRectMake(std::ceil(CGRectGetMinX(rect) - 0.5), std::ceil(CGRectGetMinY(rect) - 0.5),
                              std::ceil(CGRectGetMaxX(rect) - 0.5) - std::ceil(CGRectGetMinX(rect) - 0.5),
                              std::ceil(CGRectGetMaxY(rect) - 0.5) - std::ceil(CGRectGetMinY(rect) - 0.5)),
                   whole);
  if (target.IsEmpty()) return;
  // The transform counts from the first visible pixel, so that its fixed point never sees a far-away origin.
  const double scaleX = image.width / CGRectGetWidth(rect);
  const double scaleY = image.height / CGRectGetHeight(rect);
  pixman_f_transform exact{};
  pixman_f_transform_init_identity(&exact);
  exact.m[0][0] = std::max(scaleX, 1.0 / pixman_fixed_1);
  exact.m[1][1] = std::max(scaleY, 1.0 / pixman_fixed_1);
  exact.m[0][2] = (target.left - CGRectGetMinX(rect)) * scaleX;
  exact.m[1][2] = (target.top - CGRectGetMinY(rect)) * scaleY;
  pixman_transform transform{};
  if (pixman_transform_from_pixman_f_transform(&transform, &exact) == 0) return;

  std::byte* const destination = context.At(target);
  const PixmanImage source = Wrap(image.format, image.width, image.height, image.pixels, image.strideBytes);
  const PixmanImage sink =
      Wrap(context.format, target.Width(), target.Height(), destination, context.strideBytes);
  if (!source || !sink || pixman_image_set_transform(source.get(), &transform) == 0) return;
  pixman_image_set_filter(source.get(), PIXMAN_FILTER_BILINEAR, nullptr, 0);
  pixman_image_set_repeat(source.get(), PIXMAN_REPEAT_PAD);  // no blending with nothing at the edges
  pixman_image_composite32(PIXMAN_OP_SRC, source.get(), nullptr, sink.get(), 0, 0, 0, 0, 0, 0, target.Width(),
                           target.Height());
}

// 0 for a layout that is not supported.
pixman_format_code_t FormatOf(size_t bitsPerComponent, CGBitmapInfo layout) {
  if (bitsPerComponent == 8 && layout == (kCGBitmapByteOrder32Little | kCGImageAlphaNoneSkipFirst))
    return PIXMAN_x8r8g8b8;
  if (bitsPerComponent == 5 && layout == kCGImageAlphaNoneSkipFirst) return PIXMAN_x1r5g5b5;
  return {};
}

bool IsFinite(CGRect rect) {
  return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
         std::isfinite(rect.size.height);
}

}  // namespace

CGContextRef CGBitmapContextCreate(void* data, size_t width, size_t height, size_t bitsPerComponent,
                                   size_t bytesPerRow, CGColorSpaceRef space, CGBitmapInfo bitmapInfo) {
  const pixman_format_code_t format = FormatOf(bitsPerComponent, bitmapInfo);
  if (data == nullptr || space == nullptr || format == 0) return nullptr;
  if (width == 0 || height == 0 || width > kLongestSide || height > kLongestSide) return nullptr;
  const size_t pixelBytes = PIXMAN_FORMAT_BPP(format) / 8;
  if (bytesPerRow < width * pixelBytes || bytesPerRow % sizeof(uint32_t) != 0 ||
      bytesPerRow > kLongestSide * pixelBytes) {
    return nullptr;
  }
  auto* const context = new CGContext;
  context->data = static_cast<std::byte*>(data);
  context->width = static_cast<int>(width);
  context->height = static_cast<int>(height);
  context->strideBytes = bytesPerRow;
  context->format = format;
  return context;
}

void CGContextRelease(CGContextRef context) { delete context; }

void CGContextDrawImage(CGContextRef context, CGRect rect, CGImageRef image) {
  if (context == nullptr || image == nullptr || !IsFinite(rect) || CGRectIsEmpty(rect)) return;
  const CGRect flipped = CGRectMake(CGRectGetMinX(rect), context->height - CGRectGetMaxY(rect),
                                    CGRectGetWidth(rect), CGRectGetHeight(rect));
  int left = 0;
  int top = 0;
  if (CGRectGetWidth(rect) == image->width && CGRectGetHeight(rect) == image->height &&
      WholePixel(flipped.origin.x, left) && WholePixel(flipped.origin.y, top)) {
    DrawUnscaled(*context, left, top, *image);
  } else {
    DrawScaled(*context, flipped, *image);
  }
}
