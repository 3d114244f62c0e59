// The screen as the viewers know it, so that what was painted again with the same pixels is not sent again.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

#include "rcserv/Rect.h"
#include "service/remote/UpdateEncoder.h"

namespace remote {

// A copy. One thread.
class Picture {
 public:
  // A screen of that size begins.
  void Start(const PixelView& screen, int width, int height);

  // Takes over what differs in `changed`, a part of the screen, and appends where that is.
  void Take(const PixelView& screen, const rcserv::Rect& changed, std::vector<rcserv::Rect>& different);

  [[nodiscard]] rcserv::Rect Area() const { return rcserv::MakeXYWH(0, 0, width_, height_); }
  // Until the next Start().
  [[nodiscard]] PixelView Pixels() const;

 private:
  // Takes over what differs in `part` of a row, which `found` grows by.
  void TakeRow(const uint16_t* now, const rcserv::Rect& part, rcserv::Rect& found);

  int width_ = 0;
  int height_ = 0;
  std::vector<uint16_t> pixels_;
  std::vector<rcserv::Rect> found_;
};

}  // namespace remote
