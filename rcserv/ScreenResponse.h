// A response as a client may use it: read from 808 bytes that are not trusted.
#pragma once
#include <cstdint>
#include <span>
#include <variant>
#include <vector>

#include "rcserv/Bitmap.h"
#include "rcserv/MonitorConfig.h"
#include "rcserv/ScreenRecords.h"

namespace rcserv::screen_ipc {

// There is a new screen; the one before is over.
struct NewScreen {
  uint32_t id = 0;
  int32_t width = 0;   // at least 1
  int32_t height = 0;  // at least 1
  int32_t stride = 0;  // bytes; rows do not overlap, and all of them are less than 2 GiB
  int32_t x = 0;       // the screen's top left corner on the desktop
  int32_t y = 0;
  Monitors monitors;  // relative to that corner; what is viewed is not told
};

// The areas that changed, in desktop coordinates; none is empty.
struct Update {
  std::vector<Rect> rects;
};

// std::monostate for a response that no honest server sends.
using Response = std::variant<std::monostate, NewScreen, Update>;
[[nodiscard]] Response ParseResponse(std::span<const std::byte, sizeof(ResponseRecord)> bytes);
[[nodiscard]] Response ParseResponse(const ResponseRecord& record);

// Where an area of the desktop lies in the screen's surface, cut at its edges; may be empty.
[[nodiscard]] Rect InSurface(const NewScreen& screen, const Rect& area);

// Maps the screen's file. Empty, with a log line, when it cannot be opened, and also when it is shorter than
// the screen, whose pixels could then not be read without a signal.
[[nodiscard]] BitmapT<kScreenFormat> OpenScreen(const NewScreen& screen);

}  // namespace rcserv::screen_ipc
