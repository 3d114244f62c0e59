#include "tests/support/XClient.h"

#include <xcb/xcb.h>

#include <cstring>
#include <stdexcept>

#include "platform/Handles.h"

namespace test {
namespace {

int16_t Short(int value) { return static_cast<int16_t>(value); }
uint16_t Size(int value) { return static_cast<uint16_t>(value); }
// Rows begin at whole words.
size_t Stride(int width, size_t bytes) { return (static_cast<size_t>(width) * bytes + 3) / 4 * 4; }

}  // namespace

void XClient::Disconnect::operator()(xcb_connection_t* connection) const noexcept {
  xcb_disconnect(connection);
}

XClient::XClient() : connection_(xcb_connect(nullptr, nullptr)) {
  if (xcb_connection_has_error(connection_.get()) != 0)
    throw std::runtime_error("no X server for the witness");
  screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_.get())).data;
  bytes_ = screen_->root_depth > 16 ? 4 : screen_->root_depth > 8 ? 2 : 1;
  mask_ = ~0U >> (32 - screen_->root_depth);
  context_ = xcb_generate_id(connection_.get());
  xcb_create_gc(connection_.get(), context_, screen_->root, 0, nullptr);
}

void XClient::Fill(int x, int y, int width, int height, uint32_t pixel) {
  const xcb_rectangle_t area{Short(x), Short(y), Size(width), Size(height)};
  xcb_change_gc(connection_.get(), context_, XCB_GC_FOREGROUND, &pixel);
  xcb_poly_fill_rectangle(connection_.get(), screen_->root, context_, 1, &area);
  xcb_flush(connection_.get());
}

void XClient::FillNoise(int x, int y, int width, int height, uint32_t seed) {
  uint32_t state = seed * 2654435761U + 1;
  std::vector<uint8_t> row(Stride(width, bytes_));
  for (int line = 0; line < height; ++line) {
    for (size_t column = 0; column < static_cast<size_t>(width); ++column) {
      state = state * 1664525U + 1013904223U;
      const uint32_t pixel = (state ^ state >> 15) & mask_;
      std::memcpy(row.data() + column * bytes_, &pixel, bytes_);
    }
    xcb_put_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, screen_->root, context_, Size(width), 1,
                  Short(x), Short(y + line), 0, screen_->root_depth, static_cast<uint32_t>(row.size()),
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
  const auto asked = xcb_get_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, screen_->root, Short(x),
                                   Short(y), Size(width), Size(height), ~0U);
  const platform::MallocPtr<xcb_get_image_reply_t> image(
      xcb_get_image_reply(connection_.get(), asked, nullptr));
  if (!image) return {};
  const uint8_t* line = xcb_get_image_data(image.get());
  std::vector<uint32_t> pixels;
  for (int row = 0; row < height; ++row, line += Stride(width, bytes_)) {
    for (size_t column = 0; column < static_cast<size_t>(width); ++column) {
      uint32_t pixel = 0;
      std::memcpy(&pixel, line + column * bytes_, bytes_);
      pixels.push_back(pixel & mask_);
    }
  }
  return pixels;
}

void XClient::GrabServer() {
  xcb_grab_server(connection_.get());
  Sync();
}

}  // namespace test
