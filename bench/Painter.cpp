#include "bench/Painter.h"

#include <sys/mman.h>
#include <unistd.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace bench {
namespace {

constexpr int kScrollLeft = 200, kScrollTop = 150, kScrollWidth = 800, kScrollHeight = 600, kScrollStep = 16;
constexpr int kFilmStep = 8, kFilmMark = 64;
constexpr std::size_t kPictures = 3;

}  // namespace

Painter::Painter() : connection_(xcb_connect(nullptr, nullptr)) {
  if (xcb_connection_has_error(connection_) != 0) {
    std::fprintf(stderr, "the painter cannot reach the display\n");
    std::exit(1);
  }
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  width_ = screen->width_in_pixels;
  height_ = screen->height_in_pixels;

  window_ = xcb_generate_id(connection_);
  const std::uint32_t overrideRedirect = 1;
  xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, width_, height_, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_OVERRIDE_REDIRECT,
                    &overrideRedirect);
  xcb_map_window(connection_, window_);
  context_ = xcb_generate_id(connection_);
  xcb_create_gc(connection_, context_, window_, 0, nullptr);

  const std::size_t size = std::size_t{width_} * height_ * 4 * kPictures;
  const int fd = memfd_create("video", MFD_CLOEXEC);
  if (fd < 0 || ftruncate(fd, static_cast<off_t>(size)) != 0) std::abort();
  video_ = static_cast<std::uint32_t*>(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
  segment_ = xcb_generate_id(connection_);
  xcb_shm_attach_fd(connection_, segment_, fd, 0);
  MakeFilm();
  xcb_flush(connection_);
}

Painter::~Painter() {
  munmap(video_, std::size_t{width_} * height_ * 4 * kPictures);
  xcb_disconnect(connection_);
}

void Painter::Fill(int x, int y, int width, int height) {
  colour_ = colour_ * 1664525 + 1013904223;
  xcb_change_gc(connection_, context_, XCB_GC_FOREGROUND, &colour_);
  const xcb_rectangle_t area{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                             static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height)};
  xcb_poly_fill_rectangle(connection_, window_, context_, 1, &area);
}

void Painter::Square(int x, int y, int size) {
  Fill(x, y, size, size);
  xcb_flush(connection_);
}

void Painter::ScrollWindow() {
  xcb_copy_area(connection_, window_, window_, context_, kScrollLeft, kScrollTop + kScrollStep, kScrollLeft,
                kScrollTop, kScrollWidth, kScrollHeight - kScrollStep);
  Fill(kScrollLeft, kScrollTop + kScrollHeight - kScrollStep, kScrollWidth, kScrollStep);
  xcb_flush(connection_);
}

void Painter::VideoFrame() {
  colour_ = colour_ * 1664525 + 1013904223;
  for (int y = 0; y < height_; ++y) video_[static_cast<std::size_t>(y) * width_] = colour_;
  PutPicture(0);
  xcb_flush(connection_);
}

// Smooth and grainy at once, so that neighbours are alike and hardly ever the same.
void Painter::MakeFilm() {
  std::uint32_t grain = 1;
  std::uint32_t* pixel = video_ + std::size_t{width_} * height_;
  for (int y = 0; y < 2 * height_; ++y)
    for (int x = 0; x < width_; ++x) {
      grain = grain * 1664525 + 1013904223;
      const auto shade = [&](double slant, int shift) {
        const double smooth = 120 + 100 * std::sin(x * slant / 90 + y / (130 * slant));
        return static_cast<std::uint32_t>(smooth + (grain >> shift & 15)) << (shift - 8);
      };
      *pixel++ = shade(1.0, 24) | shade(1.3, 16) | shade(0.7, 8);
    }
}

void Painter::FilmFrame() {
  PutPicture(height_ + filmFrames_++ * kFilmStep % height_);
  Fill(0, 0, kFilmMark, kFilmMark);
  xcb_flush(connection_);
}

void Painter::PutPicture(int row) {
  xcb_shm_put_image(connection_, window_, context_, width_, static_cast<std::uint16_t>(height_ * kPictures),
                    0, static_cast<std::uint16_t>(row), width_, height_, 0, 0, 24, XCB_IMAGE_FORMAT_Z_PIXMAP,
                    0, segment_, 0);
}

SteadyPainter::SteadyPainter(void (*paint)(Painter&), int perSecond)
    : thread_([this, paint, perSecond] {
        Painter painter;
        auto next = std::chrono::steady_clock::now();
        while (running_) {
          paint(painter);
          next += std::chrono::microseconds(1'000'000 / perSecond);
          std::this_thread::sleep_until(next);
        }
      }) {}

SteadyPainter::~SteadyPainter() {
  running_ = false;
  thread_.join();
}

}  // namespace bench
