#include "tools/NoticePainter.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

namespace tools {
namespace {

// For a display with 96 dots an inch.
constexpr double kWidth = 420;
constexpr double kMargin = 22;
constexpr double kAccentWidth = 5;
constexpr double kButtonWidth = 110;
constexpr double kButtonHeight = 34;
constexpr double kFooterHeight = 18;
constexpr double kTextSize = 14;
constexpr double kFooterSize = 11;

struct Colour {
  double red, green, blue;
};
constexpr Colour kPaper = {0.98, 0.98, 0.97};
constexpr Colour kInk = {0.11, 0.13, 0.15};
constexpr Colour kFaintInk = {0.38, 0.41, 0.44};
constexpr Colour kAccent = {0.18, 0.42, 0.55};
constexpr Colour kButton = {0.90, 0.91, 0.91};

void SetColour(cairo_t* cairo, Colour colour) {
  cairo_set_source_rgb(cairo, colour.red, colour.green, colour.blue);
}

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
using Layout = std::unique_ptr<PangoLayout, Unref>;

Layout MakeLayout(cairo_t* cairo, const std::string& text, double size, double width) {
  Layout layout(pango_cairo_create_layout(cairo));
  PangoFontDescription* const font = pango_font_description_from_string("sans");
  pango_font_description_set_absolute_size(font, size * PANGO_SCALE);
  pango_layout_set_font_description(layout.get(), font);
  pango_font_description_free(font);
  pango_layout_set_width(layout.get(), static_cast<int>(width * PANGO_SCALE));
  pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
  pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
  return layout;
}

double HeightOf(const Layout& layout) {
  int height = 0;
  pango_layout_get_pixel_size(layout.get(), nullptr, &height);
  return height;
}

std::string ValidUtf8(const std::string& text) {
  const std::unique_ptr<char, decltype(&g_free)> valid(
      g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), g_free);
  return valid.get();
}

}  // namespace

NoticePainter::NoticePainter(std::string text, bool question, double scale)
    : text_(ValidUtf8(text)), question_(question), scale_(scale) {
  const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
      cairo_image_surface_create(CAIRO_FORMAT_RGB24, 1, 1), cairo_surface_destroy);
  const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> cairo(cairo_create(surface.get()), cairo_destroy);
  const double width = kWidth * scale_;
  const double margin = kMargin * scale_;
  textHeight_ = HeightOf(MakeLayout(cairo.get(), text_, kTextSize * scale_, width - 2 * margin));
  double bottom = margin + textHeight_ + margin;
  if (question_) {
    const double buttonWidth = kButtonWidth * scale_;
    const double buttonHeight = kButtonHeight * scale_;
    allow_ = {width - margin - buttonWidth, bottom, width - margin, bottom + buttonHeight};
    refuse_ = {allow_.left - margin / 2 - buttonWidth, bottom, allow_.left - margin / 2,
               bottom + buttonHeight};
    bottom += buttonHeight + margin / 2;
  }
  width_ = static_cast<int>(std::ceil(width));
  height_ = static_cast<int>(std::ceil(bottom + kFooterHeight * scale_));
}

Button NoticePainter::ButtonAt(double x, double y) const {
  if (!question_) return Button::kNone;
  if (allow_.Holds(x, y)) return Button::kAllow;
  return refuse_.Holds(x, y) ? Button::kRefuse : Button::kNone;
}

void NoticePainter::Paint(cairo_t* cairo, const std::string& footer, Button focus) const {
  const double margin = kMargin * scale_;
  SetColour(cairo, kPaper);
  cairo_paint(cairo);
  SetColour(cairo, kAccent);
  cairo_rectangle(cairo, 0, 0, kAccentWidth * scale_, height_);
  cairo_fill(cairo);
  cairo_set_line_width(cairo, 2);
  cairo_rectangle(cairo, 0, 0, width_, height_);
  cairo_stroke(cairo);

  SetColour(cairo, kInk);
  cairo_move_to(cairo, margin, margin);
  pango_cairo_show_layout(cairo, MakeLayout(cairo, text_, kTextSize * scale_, width_ - 2 * margin).get());
  if (question_) {
    PaintButton(cairo, allow_, "Allow", focus == Button::kAllow);
    PaintButton(cairo, refuse_, "Refuse", focus == Button::kRefuse);
  }
  SetColour(cairo, kFaintInk);
  cairo_move_to(cairo, margin, height_ - (kFooterHeight + 4) * scale_);
  pango_cairo_show_layout(cairo, MakeLayout(cairo, footer, kFooterSize * scale_, width_ - 2 * margin).get());
}

void NoticePainter::PaintButton(cairo_t* cairo, const Box& box, const char* label, bool focused) const {
  SetColour(cairo, kButton);
  cairo_rectangle(cairo, box.left, box.top, box.right - box.left, box.bottom - box.top);
  cairo_fill_preserve(cairo);
  SetColour(cairo, focused ? kAccent : kFaintInk);
  cairo_set_line_width(cairo, (focused ? 2.5 : 1) * scale_);
  cairo_stroke(cairo);

  const Layout layout = MakeLayout(cairo, label, kTextSize * scale_, box.right - box.left);
  pango_layout_set_alignment(layout.get(), PANGO_ALIGN_CENTER);
  SetColour(cairo, kInk);
  cairo_move_to(cairo, box.left, (box.top + box.bottom - HeightOf(layout)) / 2);
  pango_cairo_show_layout(cairo, layout.get());
}

}  // namespace tools
