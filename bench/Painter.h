// Paints on a display the way programs do: a small square, a scrolling window, full-screen video, a film.
#pragma once
#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

struct xcb_connection_t;

namespace bench {

// One connection of its own to the display of $DISPLAY. One thread at a time.
class Painter {
 public:
  Painter();
  ~Painter();
  Painter(const Painter&) = delete;
  Painter& operator=(const Painter&) = delete;

  // Each sends its request at once and does not wait for the server.
  void Square(int x, int y, int size);
  void ScrollWindow();
  void VideoFrame();
  // Every pixel is another one than before, as in a photograph that moves; the square in its corner is of one
  // colour.
  void FilmFrame();

  // What was painted last: 8 bits each of red, green and blue.
  [[nodiscard]] std::uint32_t Colour() const { return colour_ & 0xffffff; }

 private:
  void MakeFilm();
  void Fill(int x, int y, int width, int height);
  void PutPicture(int row);

  xcb_connection_t* connection_;
  std::uint32_t window_ = 0;
  std::uint32_t context_ = 0;
  std::uint32_t segment_ = 0;
  std::uint32_t* video_ = nullptr;  // a picture of the video, and below it the film: two pictures high
  std::uint16_t width_ = 0;
  std::uint16_t height_ = 0;
  std::uint32_t colour_ = 0;
  int filmFrames_ = 0;
};

// Calls one of the painter's functions `perSecond` times a second on a thread of its own, until it is
// destroyed.
class SteadyPainter {
 public:
  SteadyPainter(void (*paint)(Painter&), int perSecond);
  ~SteadyPainter();
  SteadyPainter(const SteadyPainter&) = delete;
  SteadyPainter& operator=(const SteadyPainter&) = delete;

 private:
  std::atomic<bool> running_{true};
  std::thread thread_;
};

}  // namespace bench
