// The records that travel over the screen socket: packed, in the host's byte order. Both ends use these.
#pragma once
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "rcserv/Rect.h"

namespace rcserv::screen_ipc {

// The client's connection identifier, which is never 0.
using Request = uint16_t;
constexpr Request NextConnectionId(Request id) { return id == 0xFFFF ? 1 : static_cast<Request>(id + 1); }

enum ResponseKind : uint32_t { kNewScreen = 0, kUpdate = 1 };

#pragma pack(push, 1)

struct RectRecord {
  int16_t left;
  int16_t top;
  int16_t right;
  int16_t bottom;
};
static_assert(sizeof(RectRecord) == 8);

struct MonitorRecord {
  uint32_t id;
  RectRecord rect;  // relative to the desktop's origin
  uint8_t primary;
  std::array<uint8_t, 3> padding;
};
static_assert(sizeof(MonitorRecord) == 16);

struct NewScreenRecord {
  static constexpr uint32_t kMaxMonitors = 48;
  uint32_t kind;
  uint32_t screenId;
  int32_t width;
  int32_t height;
  int32_t stride;
  int32_t x;  // the screen's origin in desktop coordinates
  int32_t y;
  uint32_t monitorCount;
  std::array<MonitorRecord, kMaxMonitors> monitors;
};
static_assert(sizeof(NewScreenRecord) == 32 + 48 * 16);

struct UpdateRecord {
  static constexpr uint32_t kMaxRects = 100;
  uint32_t kind;
  uint32_t rectCount;
  std::array<RectRecord, kMaxRects> rects;  // in desktop coordinates
};
static_assert(sizeof(UpdateRecord) == 808);

#pragma pack(pop)

// What is sent whole, whichever of the two forms it holds; `kind` comes first in both.
union ResponseRecord {
  UpdateRecord update;
  NewScreenRecord newScreen;
};
static_assert(sizeof(ResponseRecord) == 808);

// Coordinates that 16 bits do not hold become the nearest that they do.
constexpr RectRecord ToRecord(const Rect& rect) {
  constexpr auto saturate = [](int32_t value) {
    return static_cast<int16_t>(
        std::clamp<int32_t>(value, std::numeric_limits<int16_t>::min(), std::numeric_limits<int16_t>::max()));
  };
  return {saturate(rect.left), saturate(rect.top), saturate(rect.right), saturate(rect.bottom)};
}
constexpr Rect FromRecord(const RectRecord& record) {
  return MakeLTRB(record.left, record.top, record.right, record.bottom);
}

}  // namespace rcserv::screen_ipc
