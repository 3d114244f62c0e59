// Frames of displays as a tile stream to the service.
#pragma once
#include <ApplicationServices/ApplicationServices.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "legacy/RCAbstractFramer.h"
#include "legacy/RCScreenBitsOGL.h"
#include "legacy/TileCoder.h"
#include "legacy/TileMessages.h"

// Remembers a checksum for every tile that it has sent, and sends what has another one. The screener's
// thread, except Reset().
class RCTileEncoder : public RCAbstractFramer {
 public:
  RCTileEncoder();

  // The next frames are coded in full. Numbers of frames go on. Any thread: it is done before the next frame.
  void Reset() { reset_ = true; }

  // Size and pixel format of the desktop, and Reset().
  void SendDimensionsOfAllDisplays(uint32_t depth, CGRect desktop);

  // A frame of the part of the rectangle (global coordinates) that lies on the display; of nothing, when none
  // does or it cannot be read.
  void SendFrameOfDisplay(CGRect rect, CGDirectDisplayID display);
  void SendFramesOfDisplay(CGDirectDisplayID display, const CGRect* rects, uint32_t count);
  void SendTileEncodedFrameOfDisplay(CGRect rect, CGDirectDisplayID display);
  // A frame that shows what TestPattern.h draws. What it hides comes back with the next frames of its place.
  void SendTestPatternFrame(CGRect rect);

  // The stream for the tiles that the rectangle touches; null when the display cannot be read. The caller
  // releases.
  [[nodiscard]] CFMutableDataRef MakeEncodedDataForFrameOfDisplay(CGRect rect, CGDirectDisplayID display);

  // The rectangle widened to whole tiles, which lie at multiples of 16; CGRectZero for an empty one.
  [[nodiscard]] static CGRect AlignToTiles(CGRect rect);

 private:
  // The last checksums of one display's tiles, at their places on the desktop.
  struct CRCBuffer {
    CGRect desktop = CGRectZero;
    CGRect display = CGRectZero;  // widened to whole tiles
    int64_t firstPlace = 0;       // of the display's first tile, with which `checksums` begins
    std::vector<uint64_t> checksums;
  };

  CRCBuffer& GetCRCBuffer(CGDirectDisplayID display);
  // Of the tiles from the left edge of `aligned`, in the row of tiles at its top.
  [[nodiscard]] static std::span<uint64_t> PlacesOfRow(CRCBuffer& buffer, CGRect aligned);

  void SendPixels(CGRect rect, std::span<const uint8_t> stream);
  void SendEmptyFrame();

  RCScreenBitsOGL screenBits_;
  tiles::TileCoder coder_;
  std::map<CGDirectDisplayID, CRCBuffer> crcBuffers_;
  std::atomic<bool> reset_{false};
  uint16_t sequence_ = 0;
};
