#include "platform/x11/RootFormat.h"

#include <xcb/xcb.h>

#include <atomic>
#include <bit>

#include "platform/System.h"
#include "platform/x11/Connection.h"

namespace platform::x11 {
namespace {

struct Layout {
  int bitsPerPixel;
  uint32_t red, green, blue;
  pixman_format_code_t pixels;
};

// Masks of the visual; source: pixman's names, which list the channels from the highest bit.
constexpr Layout kLayouts[] = {
    {32, 0xff0000, 0xff00, 0xff, PIXMAN_x8r8g8b8},
    {32, 0xff, 0xff00, 0xff0000, PIXMAN_x8b8g8r8},
    {32, 0x3ff00000, 0xffc00, 0x3ff, PIXMAN_x2r10g10b10},
    {32, 0x3ff, 0xffc00, 0x3ff00000, PIXMAN_x2b10g10r10},
    {16, 0xf800, 0x7e0, 0x1f, PIXMAN_r5g6b5},
    {16, 0x7c00, 0x3e0, 0x1f, PIXMAN_x1r5g5b5},
};

const xcb_visualtype_t* RootVisual(const xcb_screen_t& screen) {
  for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0; xcb_depth_next(&depth)) {
    for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0; xcb_visualtype_next(&visual)) {
      if (visual.data->visual_id == screen.root_visual) return visual.data;
    }
  }
  return nullptr;
}

const xcb_format_t* PixmapFormat(const xcb_setup_t& setup, int depth) {
  for (auto format = xcb_setup_pixmap_formats_iterator(&setup); format.rem > 0; xcb_format_next(&format)) {
    if (format.data->depth == depth) return format.data;
  }
  return nullptr;
}

void LogUnreadable(const xcb_screen_t& screen, const xcb_visualtype_t& visual, const xcb_format_t& format,
                   bool sameByteOrder) {
  static std::atomic<bool> logged{false};
  if (logged.exchange(true)) return;
  ConsoleLog(
      "the screen cannot be captured: depth %d, %d bits a pixel, visual class %d, masks %x/%x/%x, %s byte "
      "order",
      screen.root_depth, format.bits_per_pixel, visual._class, visual.red_mask, visual.green_mask,
      visual.blue_mask, sameByteOrder ? "our" : "the other");
}

}  // namespace

std::optional<RootFormat> ReadRootFormat(const Connection& connection) {
  const xcb_screen_t& screen = connection.Screen();
  const xcb_setup_t& setup = *xcb_get_setup(connection.Get());
  const xcb_visualtype_t* const visual = RootVisual(screen);
  const xcb_format_t* const format = PixmapFormat(setup, screen.root_depth);
  if (visual == nullptr || format == nullptr) return std::nullopt;

  const bool sameByteOrder =
      setup.image_byte_order ==
      (std::endian::native == std::endian::little ? XCB_IMAGE_ORDER_LSB_FIRST : XCB_IMAGE_ORDER_MSB_FIRST);
  const bool direct =
      visual->_class == XCB_VISUAL_CLASS_TRUE_COLOR || visual->_class == XCB_VISUAL_CLASS_DIRECT_COLOR;
  for (const Layout& layout : kLayouts) {
    if (sameByteOrder && direct && format->bits_per_pixel == layout.bitsPerPixel &&
        visual->red_mask == layout.red && visual->green_mask == layout.green &&
        visual->blue_mask == layout.blue) {
      return RootFormat{layout.pixels, format->bits_per_pixel, format->scanline_pad};
    }
  }
  LogUnreadable(screen, *visual, *format, sameByteOrder);
  return std::nullopt;
}

size_t RootBitsPerPixel(const Connection& connection) {
  const xcb_format_t* const format =
      PixmapFormat(*xcb_get_setup(connection.Get()), connection.Screen().root_depth);
  return format == nullptr ? 0 : format->bits_per_pixel;
}

}  // namespace platform::x11
