// What a notice looks like: its text, its buttons, and where they lie.
#pragma once
#include <cairo.h>

#include <string>

namespace tools {

// In pixels; right and bottom exclusive.
struct Box {
  double left, top, right, bottom;
  [[nodiscard]] bool Holds(double x, double y) const {
    return x >= left && x < right && y >= top && y < bottom;
  }
};

enum class Button { kNone, kAllow, kRefuse };

// Lays out once, paints as often as it is asked. One thread.
class NoticePainter {
 public:
  // `scale`: pixels for a pixel of a display with 96 dots an inch.
  NoticePainter(std::string text, bool question, double scale);

  [[nodiscard]] int Width() const { return width_; }
  [[nodiscard]] int Height() const { return height_; }
  [[nodiscard]] Button ButtonAt(double x, double y) const;

  // `footer`: the small line at the lower edge. `focus`: the button that the keyboard presses.
  void Paint(cairo_t* cairo, const std::string& footer, Button focus) const;

 private:
  void PaintButton(cairo_t* cairo, const Box& box, const char* label, bool focused) const;

  std::string text_;
  bool question_;
  double scale_;
  int width_ = 0;
  int height_ = 0;
  double textHeight_ = 0;
  Box allow_{};
  Box refuse_{};
};

}  // namespace tools
