#include "tests/support/XClient.h"

#include <xcb/xcb.h>

#include <cstring>
#include <stdexcept>

#include "platform/Handles.h"

namespace test {
namespace {

int BitsPerPixel(const xcb_setup_t* setup, int depth) {
  for (auto format = xcb_setup_pixmap_formats_iterator(setup); format.rem > 0; xcb_format_next(&format)) {
    if (format.data->depth == depth) return format.data->bits_per_pixel;
  }
  return 0;
}

int16_t Short(int value) { return static_cast<int16_t>(value); }
uint16_t Size(int value) { return static_cast<uint16_t>(value); }

}  // namespace

void XClient::Disconnect::operator()(xcb_connection_t* connection) const noexcept {
  xcb_disconnect(connection);
}

XClient::XClient() : connection_(xcb_connect(nullptr, nullptr)) {
  if (xcb_connection_has_error(connection_.get()) != 0)
    throw std::runtime_error("no X server for the witness");
  screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_.get())).data;
  context_ = xcb_generate_id(connection_.get());
  xcb_create_gc(connection_.get(), context_, screen_->root, 0, nullptr);
}

XClient::~XClient() = default;

void XClient::Fill(int x, int y, int width, int height, uint32_t pixel) {
  const xcb_rectangle_t area{Short(x), Short(y), Size(width), Size(height)};
  xcb_change_gc(connection_.get(), context_, XCB_GC_FOREGROUND, &pixel);
  xcb_poly_fill_rectangle(connection_.get(), screen_->root, context_, 1, &area);
  xcb_flush(connection_.get());
}

void XClient::FillNoise(int x, int y, int width, int height, uint32_t seed) {
  uint32_t state = seed * 2654435761U + 1;
  const int bits = BitsPerPixel(xcb_get_setup(connection_.get()), screen_->root_depth);
  const uint32_t mask = screen_->root_depth == 32 ? ~0U : (1U << screen_->root_depth) - 1;
  const size_t stride = (static_cast<size_t>(width) * static_cast<size_t>(bits) + 31) / 32 * 4;
  std::vector<uint8_t> row(stride);
  for (int line = 0; line < height; ++line) {
    for (int column = 0; column < width; ++column) {
      state = state * 1664525U + 1013904223U;
      const uint32_t pixel = (state ^ state >> 15) & mask;
      std::memcpy(row.data() + static_cast<size_t>(column) * static_cast<size_t>(bits) / 8, &pixel,
                  static_cast<size_t>(bits) / 8);
    }
    xcb_put_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, screen_->root, context_, Size(width), 1,
                  Short(x), Short(y + line), 0, screen_->root_depth, static_cast<uint32_t>(stride),
                  row.data());
  }
}

uint32_t XClient::OpenWindow(int x, int y, int width, int height, uint32_t pixel) {
  const uint32_t window = xcb_generate_id(connection_.get());
  const uint32_t values[] = {pixel, 1};
  xcb_create_window(connection_.get(), XCB_COPY_FROM_PARENT, window, screen_->root, Short(x), Short(y),
                    Size(width), Size(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                    XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
  xcb_map_window(connection_.get(), window);
  Sync();
  return window;
}

void XClient::CloseWindow(uint32_t window) {
  xcb_destroy_window(connection_.get(), window);
  Sync();
}

void XClient::Sync() {
  const platform::MallocPtr<xcb_get_input_focus_reply_t> done(
      xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
}

std::vector<uint32_t> XClient::Read(int x, int y, int width, int height) {
  const platform::MallocPtr<xcb_get_image_reply_t> image(
      xcb_get_image_reply(connection_.get(),
                          xcb_get_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, screen_->root, Short(x),
                                        Short(y), Size(width), Size(height), ~0U),
                          nullptr));
  if (!image) return {};
  const auto bytes = static_cast<size_t>(BitsPerPixel(xcb_get_setup(connection_.get()), image->depth)) / 8;
  const uint32_t mask = image->depth == 32 ? ~0U : (1U << image->depth) - 1;
  const size_t stride = (static_cast<size_t>(width) * bytes + 3) / 4 * 4;
  const uint8_t* data = xcb_get_image_data(image.get());
  std::vector<uint32_t> pixels;
  pixels.reserve(static_cast<size_t>(width) * static_cast<size_t>(height));
  for (size_t line = 0; line < static_cast<size_t>(height); ++line) {
    for (size_t column = 0; column < static_cast<size_t>(width); ++column) {
      uint32_t pixel = 0;
      std::memcpy(&pixel, data + line * stride + column * bytes, bytes);
      pixels.push_back(pixel & mask);
    }
  }
  return pixels;
}

void XClient::GrabServer() {
  xcb_grab_server(connection_.get());
  Sync();
}

}  // namespace test
