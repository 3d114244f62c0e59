// What a hostile server can answer: 808 bytes, and a screen file of another length than it says. Nothing
// outside the surface may be touched.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "common/KCFolderManager.h"
#include "platform/Handles.h"
#include "rcserv/ScreenResponse.h"

namespace {

using rcserv::Rect;
using rcserv::screen_ipc::NewScreen;
using rcserv::screen_ipc::ResponseRecord;

class Folder {
 public:
  Folder() {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
    setenv("TMPDIR", path_.c_str(), 1);
    SetRootFolder(path_.c_str());
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

 private:
  std::string path_ = "/tmp/fuzz-screen-XXXXXX";
};

void CheckInside(const NewScreen& screen, const Rect& area) {
  const Rect shown = InSurface(screen, area);
  if (shown.IsEmpty()) return;
  if (shown.left < 0 || shown.top < 0 || shown.right > screen.width || shown.bottom > screen.height)
    std::abort();
}

// The file has `length` bytes, without blocks.
void MakeScreenFile(uint32_t id, off_t length) {
  char digits[9];
  std::snprintf(digits, sizeof digits, "%.8x", id);
  const std::string name = std::string(FetchFolder(kFolderSharedFrameBuffer)) + digits;
  const platform::UniqueFd file(open(name.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (ftruncate(file.Get(), length) != 0) std::abort();
}

// The pixels at both ends of the first and the last row, with their last bytes.
void ReadCorners(const NewScreen& screen) {
  const auto surface = OpenScreen(screen);
  if (!surface) return;
  uint16_t sum = 0;
  for (const int32_t x : {0, screen.width - 1}) {
    for (const int32_t y : {0, screen.height - 1}) {
      uint16_t pixel;
      std::memcpy(&pixel, surface->BitsAt(x, y), sizeof pixel);
      sum = static_cast<uint16_t>(sum + pixel);
    }
  }
  if (sum != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Folder folder;
  std::array<std::byte, sizeof(ResponseRecord)> bytes{};
  if (size > 0) std::memcpy(bytes.data(), data, std::min(size, bytes.size()));
  const auto response = rcserv::screen_ipc::ParseResponse(bytes);

  if (const auto* screen = std::get_if<NewScreen>(&response)) {
    for (const auto& [id, monitor] : screen->monitors) CheckInside(*screen, monitor.rect);
    // Bytes behind the record choose the file's length, so that it is often too short by little or much.
    const int64_t claimed = int64_t{screen->stride} * screen->height;
    const int64_t missing = size > bytes.size() ? int64_t{data[bytes.size()]} * 997 : 0;
    MakeScreenFile(screen->id, std::max<int64_t>(0, claimed - missing));
    ReadCorners(*screen);
  } else if (const auto* update = std::get_if<rcserv::screen_ipc::Update>(&response)) {
    if (update->rects.size() > 100) std::abort();
    const NewScreen small{.id = 0, .width = 16, .height = 8, .stride = 32, .x = -4, .y = 0, .monitors = {}};
    for (const Rect& rect : update->rects) {
      if (rect.IsEmpty()) std::abort();
      CheckInside(small, rect);
    }
  }
  return 0;
}
