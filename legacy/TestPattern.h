// A picture by which a person at the viewer can judge colours, edges and alignment.
#pragma once
#include <cstdint>
#include <vector>

#include "legacy/TileStream.h"

namespace tiles {

struct PatternRect {
  int left, top, width, height;  // global pixels
};

// Host order, rows of `area.width` from the top. Around `frame`, which lies within `area`, runs a white line
// of one pixel, without which an edge is cut off; what lies outside is black. Inside, from the top: bars of
// the eight full colours; ramps of red, green, blue and grey with all 32 steps; single black and white
// pixels, columns and rows, which turn grey where something is scaled; and a grid along the borders of the
// tiles.
[[nodiscard]] std::vector<uint16_t> DrawTestPattern(const PatternRect& area, const PatternRect& frame,
                                                    const PixelMasks& masks);

}  // namespace tiles
