#include "tools/ChangeCount.h"

#include <cstdio>

namespace tools {

void ChangeCount::Add(std::span<const rcserv::Rect> changed) {
  ++updates;
  rectangles += static_cast<int>(changed.size());
  for (const rcserv::Rect& rect : changed) pixels += static_cast<double>(rect.Width()) * rect.Height();
}

std::string ChangeCount::Text() const {
  char text[96];
  std::snprintf(text, sizeof text, "updates %4d   rectangles %4d   megapixels %8.2f   ", updates, rectangles,
                pixels / 1e6);
  return text;
}

}  // namespace tools
