// The desktop as the observer's tile stream draws it.
#pragma once
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "legacy/RCTileDecoder.h"
#include "platform/Handles.h"
#include "platform/ThreadSafety.h"
#include "service/remote/ScreenSource.h"

namespace remote {

// Take() on the message port's thread, Expect() on the command thread, the rest on the screen thread.
//
// For desktops whose corner is the origin of the display's coordinates, as every X server's is.
class TileScreen : public ScreenSource {
 public:
  // `news` is called on the message port's thread, with no lock held, when there is something to Ask() for.
  explicit TileScreen(std::function<void()> news) : news_(std::move(news)) {}

  // A piece of the stream, without the header that it has as a record for the service.
  void Take(std::span<const uint8_t> message) EXCLUDES(lock_);
  // The stream of another observer comes: what the one before has drawn is void. `process` is readable when
  // it has ended.
  void Expect(platform::UniqueFd process) EXCLUDES(lock_);

  [[nodiscard]] Answer Ask() override EXCLUDES(lock_);
  [[nodiscard]] int Descriptor() const override { return process_.Get(); }
  [[nodiscard]] bool ObserverLives() override EXCLUDES(lock_);
  void Drop() override { process_.Reset(); }
  [[nodiscard]] ScreenShape Shape() const override;
  [[nodiscard]] Origin Corner() const override { return {}; }
  [[nodiscard]] const std::vector<rcserv::Rect>& Changes() const override { return changes_; }
  [[nodiscard]] PixelView Pixels() const override;

 private:
  [[nodiscard]] rcserv::Rect Area() const { return rcserv::MakeXYWH(0, 0, width_, height_); }
  [[nodiscard]] bool LivesLocked() const REQUIRES(lock_);
  void CopyLocked(const rcserv::Rect& area) REQUIRES(lock_);

  const std::function<void()> news_;

  Lock lock_;
  std::optional<RCTileDecoder> decoder_ GUARDED_BY(lock_);  // none: the stream made no sense
  platform::UniqueFd observer_ GUARDED_BY(lock_);
  std::chrono::steady_clock::time_point heard_ GUARDED_BY(lock_);
  bool drawn_ GUARDED_BY(lock_) = false;               // a frame, since the desktop was told
  bool anew_ GUARDED_BY(lock_) = false;                // the desktop was told, since Ask() has looked
  std::vector<rcserv::Rect> areas_ GUARDED_BY(lock_);  // drawn, likewise

  // The screen thread's.
  platform::UniqueFd process_;  // the observer's, while we are connected
  uint32_t id_ = 0;
  int width_ = 0, height_ = 0;
  std::vector<uint16_t> pixels_;
  std::vector<rcserv::Rect> changes_;
};

}  // namespace remote
