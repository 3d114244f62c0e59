// How much has changed on a screen.
#pragma once
#include <span>
#include <string>

#include "rcserv/Rect.h"

namespace tools {

struct ChangeCount {
  int updates = 0;
  int rectangles = 0;
  double pixels = 0;  // of all rectangles

  // An update with these rectangles.
  void Add(std::span<const rcserv::Rect> changed);

  // The beginning of a line about it.
  [[nodiscard]] std::string Text() const;
};

}  // namespace tools
