// Answers a client's requests for the screen: a new shared surface first, then what changed in it.
#pragma once
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>

#include "rcserv/Bitmap.h"
#include "rcserv/MonitorConfig.h"
#include "rcserv/ScreenIPCApple.h"

namespace rcserv {

// Knows nothing of how pixels are captured; that is CaptureScreen's.
//
// One thread, but for SetDisplayChange().
class SharedScreenWorker {
 public:
  explicit SharedScreenWorker(std::unique_ptr<MonitorConfig> monitors = std::make_unique<MonitorConfig>());
  SharedScreenWorker(const SharedScreenWorker&) = delete;
  SharedScreenWorker& operator=(const SharedScreenWorker&) = delete;
  virtual ~SharedScreenWorker() = default;

  // The displays are others than before: every worker makes a new screen with its next answer. Any thread.
  static void SetDisplayChange() { ++display_changes_; }

  // Waits for one request and answers it; called in a loop. True when an answer went out.
  bool GrabScreen(uint32_t timeoutMs);

  [[nodiscard]] bool HasClient() const { return serv_.Connected(); }

 protected:
  // Brings `target`, whose corner is the desktop's origin (x, y), up to date and appends what it changed, in
  // desktop coordinates. `bounds` is the desktop relative to that origin. `full`: everything, not only what
  // changed. False when nothing was captured.
  virtual bool CaptureScreen(int32_t x, int32_t y, const Rect& bounds, BitmapT<kScreenFormat>& target,
                             std::deque<Rect>& changed, bool full);

 private:
  [[nodiscard]] bool InitScreen();
  [[nodiscard]] bool UpdateScreen();
  void DeinitScreen();
  void FillNewScreen(uint32_t screenId);
  void FillUpdate();

  static std::atomic<uint32_t> display_changes_;

  const std::unique_ptr<MonitorConfig> monitor_config_;
  BitmapT<kScreenFormat> surface_;
  std::deque<Rect> pending_;
  screen_ipc::Serv serv_;
  bool initialized_ = false;
  uint16_t init_count_ = 0;
  uint32_t display_change_seen_ = 0;
};

}  // namespace rcserv
