#include "rcserv/ScreenResponse.h"

#include <cstring>
#include <limits>

namespace rcserv::screen_ipc {

namespace {

bool IsReversed(const Rect& rect) { return rect.right < rect.left || rect.bottom < rect.top; }

bool HasSoundGeometry(const NewScreenRecord& record) {
  if (record.width < 1 || record.height < 1) return false;
  const int64_t rowBytes = int64_t{record.width} * BitsPerPixel(kScreenFormat) / 8;
  const int64_t length = int64_t{record.stride} * record.height;
  return record.stride >= rowBytes && length <= std::numeric_limits<int32_t>::max();
}

Response ParseNewScreen(const NewScreenRecord& record) {
  if (!HasSoundGeometry(record) || record.monitorCount > NewScreenRecord::kMaxMonitors) return {};
  NewScreen screen{record.screenId, record.width, record.height, record.stride, record.x, record.y, {}};
  for (const MonitorRecord& monitor : std::span(record.monitors).first(record.monitorCount)) {
    const Rect rect = FromRecord(monitor.rect);
    if (IsReversed(rect)) return {};
    screen.monitors[monitor.id] = {.rect = rect, .primary = monitor.primary != 0};
  }
  return screen;
}

Response ParseUpdate(const UpdateRecord& record) {
  if (record.rectCount > UpdateRecord::kMaxRects) return {};
  Update update;
  update.rects.reserve(record.rectCount);
  for (const RectRecord& entry : std::span(record.rects).first(record.rectCount)) {
    const Rect rect = FromRecord(entry);
    if (IsReversed(rect)) return {};
    // Saturated coordinates of a huge desktop can leave nothing.
    if (!rect.IsEmpty()) update.rects.push_back(rect);
  }
  return update;
}

}  // namespace

Response ParseResponse(std::span<const std::byte, sizeof(ResponseRecord)> bytes) {
  uint32_t kind;
  std::memcpy(&kind, bytes.data(), sizeof kind);
  if (kind == kNewScreen) {
    NewScreenRecord record;
    std::memcpy(&record, bytes.data(), sizeof record);
    return ParseNewScreen(record);
  }
  if (kind == kUpdate) {
    UpdateRecord record;
    std::memcpy(&record, bytes.data(), sizeof record);
    return ParseUpdate(record);
  }
  return {};
}

Response ParseResponse(const ResponseRecord& record) {
  return ParseResponse(
      std::as_bytes(std::span<const ResponseRecord, 1>(&record, 1)).first<sizeof(ResponseRecord)>());
}

Rect InSurface(const NewScreen& screen, const Rect& area) {
  return Intersect(Translate(area, -int64_t{screen.x}, -int64_t{screen.y}),
                   MakeLTRB(0, 0, screen.width, screen.height));
}

}  // namespace rcserv::screen_ipc
