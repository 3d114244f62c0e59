#include "legacy/RCTileEncoder.h"

#include <asl.h>

#include <algorithm>
#include <cmath>

#include "common/KCVersionUtils.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "legacy/RCDisplayManager.h"
#include "legacy/TestPattern.h"
#include "observer/RCOculon.h"

namespace {

using tiles::kTileSide;
using tiles::PixelMasks;
using tiles::WithinTile;

// In force for all encoders of the process.
PixelMasks gMasks = tiles::kPixels555;

// How far the desktop begins left of, or above, the main display's corner.
int64_t Beyond(CGFloat edge) { return edge < 0 ? -static_cast<int64_t>(edge) : 0; }

// Rounded down, so that a tile has the same place whichever frame it is in.
int64_t TilesBefore(CGFloat pixels) { return static_cast<int64_t>(std::floor(pixels / kTileSide)); }

// Of one row of tiles of the whole desktop. A display whose edges lie within tiles can touch one more than
// that, which then has a place too, so that no two tiles of a display share one.
int64_t RowPlaces(CGRect desktop, CGRect aligned) {
  return std::max((static_cast<int64_t>(CGRectGetWidth(desktop)) + kTileSide - 1) / kTileSide,
                  TilesBefore(CGRectGetWidth(aligned)));
}

// The place of the tile with that corner; `aligned`: its display in whole tiles.
int64_t PlaceOf(CGRect desktop, CGRect aligned, CGFloat left, CGFloat top) {
  const CGFloat desktopLeft = CGRectGetMinX(desktop);
  const CGFloat desktopTop = CGRectGetMinY(desktop);
  return TilesBefore(left - desktopLeft + static_cast<CGFloat>(Beyond(desktopLeft))) +
         TilesBefore(top - desktopTop + static_cast<CGFloat>(Beyond(desktopTop))) *
             RowPlaces(desktop, aligned);
}

// Low bits that are set in every component. Level 0 turns everything white.
uint16_t ReductionMask(uint8_t level) {
  constexpr uint8_t kNone = 6;
  if (level >= kNone) return 0;
  const unsigned bits = level == 0 ? 0xFF : (1U << (level - 1)) - 1;
  return static_cast<uint16_t>(bits | bits << 5 | bits << (10 + gMasks.kRedComponentShift));
}

void SendToService(std::span<const uint8_t> message) {
  RCOculon::GetOculon()->SendBytes(message.data(), static_cast<long>(message.size()));
}

tiles::PatternRect Whole(CGRect rect) {
  return {static_cast<int>(CGRectGetMinX(rect)), static_cast<int>(CGRectGetMinY(rect)),
          static_cast<int>(CGRectGetWidth(rect)), static_cast<int>(CGRectGetHeight(rect))};
}

}  // namespace

// Systems of that release show six bits of green.
RCTileEncoder::RCTileEncoder() {
  if ((KCGetHexSystemVersionNumber() & 0xFFF0) == 0x1050) gMasks = tiles::kPixels565;
}

void RCTileEncoder::SendDimensionsOfAllDisplays(uint32_t depth, CGRect desktop) {
  Reset();
  tiles::SendDesktop(static_cast<int32_t>(CGRectGetWidth(desktop)),
                     static_cast<int32_t>(CGRectGetHeight(desktop)), depth, gMasks, SendToService);
}

// ---- frames

void RCTileEncoder::SendFrameOfDisplay(CGRect rect, CGDirectDisplayID display) {
  SendTileEncodedFrameOfDisplay(rect, display);
}

void RCTileEncoder::SendFramesOfDisplay(CGDirectDisplayID display, const CGRect* rects, uint32_t count) {
  std::for_each_n(rects, count, [&](CGRect rect) { SendFrameOfDisplay(rect, display); });
}

void RCTileEncoder::SendTileEncodedFrameOfDisplay(CGRect rect, CGDirectDisplayID display) {
  const CGRect clipped = CGRectIntersection(rect, RCDisplayManager::instance().displayBounds(display));
  const StCFTypeRef<CFMutableDataRef> data(
      CGRectIsEmpty(clipped) ? nullptr : MakeEncodedDataForFrameOfDisplay(clipped, display));
  if (data == nullptr) return SendEmptyFrame();
  SendPixels(clipped, {CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data))});
}

void RCTileEncoder::SendTestPatternFrame(CGRect rect) {
  const CGRect whole = CGRectIntegral(rect);
  const CGRect aligned = AlignToTiles(whole);
  if (CGRectIsEmpty(aligned)) return SendEmptyFrame();
  const std::vector<uint16_t> pixels = tiles::DrawTestPattern(Whole(aligned), Whole(whole), gMasks);
  const tiles::TileFrame frame{pixels.data(), static_cast<int>(CGRectGetWidth(aligned)) / kTileSide,
                               static_cast<int>(CGRectGetHeight(aligned)) / kTileSide, 0};
  SendPixels(whole, coder_.Encode(frame, [](int) { return std::span<uint64_t>(); }));
  Reset();
}

void RCTileEncoder::SendPixels(CGRect rect, std::span<const uint8_t> stream) {
  const CGRect desktop = RCDisplayManager::instance().desktopBounds();
  const int64_t dx = Beyond(CGRectGetMinX(desktop));
  const int64_t dy = Beyond(CGRectGetMinY(desktop));
  const auto left = static_cast<int32_t>(static_cast<int64_t>(CGRectGetMinX(rect)) + dx);
  const auto top = static_cast<int32_t>(static_cast<int64_t>(CGRectGetMinY(rect)) + dy);
  const auto right = static_cast<int32_t>(static_cast<int64_t>(CGRectGetMaxX(rect)) - 1 + dx);
  const auto bottom = static_cast<int32_t>(static_cast<int64_t>(CGRectGetMaxY(rect)) - 1 + dy);
  tiles::SendFrame(left, top, right, bottom, ++sequence_, stream, SendToService);
  [[maybe_unused]] static const bool logged = [=] {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "*********************** Sent %d, %d, %d, %d\n", left, top, right,
              bottom);
    return true;
  }();
}

void RCTileEncoder::SendEmptyFrame() { tiles::SendFrame(0, 0, 0, 0, ++sequence_, {}, SendToService); }

// ---- tiles

CGRect RCTileEncoder::AlignToTiles(CGRect rect) {
  const CGRect standard = CGRectStandardize(rect);
  if (CGRectIsEmpty(standard)) return CGRectZero;
  const auto left = static_cast<int32_t>(standard.origin.x);
  const auto top = static_cast<int32_t>(standard.origin.y);
  const auto right = static_cast<int32_t>(left + standard.size.width);
  const auto bottom = static_cast<int32_t>(top + standard.size.height);
  const int32_t alignedLeft = left - WithinTile(left);
  const int32_t alignedTop = top - WithinTile(top);
  return CGRectMake(alignedLeft, alignedTop, right + WithinTile(-right) - alignedLeft,
                    bottom + WithinTile(-bottom) - alignedTop);
}

CFMutableDataRef RCTileEncoder::MakeEncodedDataForFrameOfDisplay(CGRect rect, CGDirectDisplayID display) {
  constexpr int32_t kBytesPerPixel = 2;
  if (reset_.exchange(false)) crcBuffers_.clear();
  const CGRect aligned = AlignToTiles(rect);
  size_t size = 0;
  screenBits_.GetBufferForRect(display, aligned, kBytesPerPixel, &size);
  if (size == 0) return nullptr;

  CRCBuffer& buffer = GetCRCBuffer(display);
  const tiles::TileFrame frame{static_cast<const uint16_t*>(screenBits_.GetBuffer()),
                               static_cast<int>(CGRectGetWidth(aligned)) / kTileSide,
                               static_cast<int>(CGRectGetHeight(aligned)) / kTileSide,
                               ReductionMask(RCOculon::GetOculon()->ColorReduction())};
  const std::span<const uint8_t> stream = coder_.Encode(
      frame, [&](int row) { return PlacesOfRow(buffer, CGRectOffset(aligned, 0, row * kTileSide)); });
  const CFMutableDataRef data = CFDataCreateMutable(kCFAllocatorDefault, 0);
  CFDataAppendBytes(data, stream.data(), static_cast<CFIndex>(stream.size()));
  return data;
}

RCTileEncoder::CRCBuffer& RCTileEncoder::GetCRCBuffer(CGDirectDisplayID display) {
  const CGRect desktop = RCDisplayManager::instance().desktopBounds();
  const CGRect aligned = AlignToTiles(RCDisplayManager::instance().displayBounds(display));
  CRCBuffer& buffer = crcBuffers_[display];
  if (CGRectEqualToRect(buffer.desktop, desktop) && CGRectEqualToRect(buffer.display, aligned)) return buffer;

  const int64_t first = PlaceOf(desktop, aligned, CGRectGetMinX(aligned), CGRectGetMinY(aligned));
  const int64_t last =
      PlaceOf(desktop, aligned, CGRectGetMaxX(aligned) - kTileSide, CGRectGetMaxY(aligned) - kTileSide);
  buffer = {desktop, aligned, first,
            std::vector<uint64_t>(static_cast<size_t>(last - first + 1), tiles::kNoChecksum)};
  return buffer;
}

std::span<uint64_t> RCTileEncoder::PlacesOfRow(CRCBuffer& buffer, CGRect aligned) {
  const CGFloat left = CGRectGetMinX(aligned);
  const CGFloat top = CGRectGetMinY(aligned);
  if (left < CGRectGetMinX(buffer.display) || top < CGRectGetMinY(buffer.display) ||
      top >= CGRectGetMaxY(buffer.display)) {
    return {};
  }
  const int64_t room = TilesBefore(CGRectGetMaxX(buffer.display) - left);
  if (room <= 0) return {};
  const int64_t index = PlaceOf(buffer.desktop, buffer.display, left, top) - buffer.firstPlace;
  return std::span(buffer.checksums).subspan(static_cast<size_t>(index), static_cast<size_t>(room));
}
