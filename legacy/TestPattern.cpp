#include "legacy/TestPattern.h"

#include <bit>

namespace tiles {
namespace {

constexpr int kSteps = 32;

// Components from 0 to 31; green in the upper bits of its six where it has so many.
class Palette {
 public:
  explicit Palette(const PixelMasks& masks) : masks_(masks) {}

  [[nodiscard]] uint16_t Colour(int red, int green, int blue) const {
    return static_cast<uint16_t>(Part(masks_.kRedMask, red) | Part(masks_.kGreenMask, green) |
                                 Part(masks_.kBlueMask, blue));
  }
  [[nodiscard]] uint16_t White() const {
    return static_cast<uint16_t>(masks_.kRedMask | masks_.kGreenMask | masks_.kBlueMask);
  }

 private:
  static uint32_t Part(uint32_t mask, int level) {
    const int bits = std::popcount(mask);
    const auto value =
        static_cast<uint32_t>(level) << (bits - 5) | static_cast<uint32_t>(level) >> (10 - bits);
    return value << std::countr_zero(mask);
  }

  const PixelMasks& masks_;
};

// White, yellow, cyan, green, magenta, red, blue, black: in order of brightness.
uint16_t Bar(const Palette& palette, int index) {
  constexpr int kFull = kSteps - 1;
  const int lit = 7 - index;
  return palette.Colour(lit & 2 ? kFull : 0, lit & 4 ? kFull : 0, lit & 1 ? kFull : 0);
}

uint16_t Ramp(const Palette& palette, int row, int step) {
  switch (row) {
    case 0:
      return palette.Colour(step, 0, 0);
    case 1:
      return palette.Colour(0, step, 0);
    case 2:
      return palette.Colour(0, 0, step);
    default:
      return palette.Colour(step, step, step);
  }
}

bool FineIsWhite(int kind, int x, int y) {
  switch (kind) {
    case 0:
      return (x + y) % 2 == 0;
    case 1:
      return x % 2 == 0;
    default:
      return y % 2 == 0;
  }
}

// `x` and `y` count from the frame's corner.
uint16_t Pixel(const Palette& palette, const PatternRect& frame, int x, int y) {
  if (x == 0 || y == 0 || x == frame.width - 1 || y == frame.height - 1) return palette.White();
  constexpr int kBands = 8;  // two of bars, four ramps, one of fine lines, one grid
  const int band = y * kBands / frame.height;
  if (band < 2) return Bar(palette, x * 8 / frame.width);
  if (band < 6) return Ramp(palette, band - 2, x * kSteps / frame.width);
  if (band == 6) return FineIsWhite(x * 3 / frame.width, x, y) ? palette.White() : 0;
  const bool onGrid = WithinTile(frame.left + x) == 0 || WithinTile(frame.top + y) == 0;
  return onGrid ? palette.White() : palette.Colour(8, 8, 8);
}

}  // namespace

std::vector<uint16_t> DrawTestPattern(const PatternRect& area, const PatternRect& frame,
                                      const PixelMasks& masks) {
  const Palette palette(masks);
  std::vector<uint16_t> pixels(static_cast<size_t>(area.width) * static_cast<size_t>(area.height));
  for (int y = 0; y < frame.height; ++y) {
    const auto row = static_cast<size_t>(frame.top - area.top + y) * static_cast<size_t>(area.width);
    for (int x = 0; x < frame.width; ++x)
      pixels[row + static_cast<size_t>(frame.left - area.left + x)] = Pixel(palette, frame, x, y);
  }
  return pixels;
}

}  // namespace tiles
