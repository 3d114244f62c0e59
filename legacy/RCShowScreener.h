// Shows the screen to the tile viewer: what has changed on the displays, as frames of a tile stream.
#pragma once
#include <ApplicationServices/ApplicationServices.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>

#include "common/StCFTypeRef.h"
#include "legacy/RCTileEncoder.h"
#include "platform/ThreadSafety.h"
#include "rcserv/RCAbstractScreener.h"

// Threads: the controller's starts and stops. The window server's adds what was redrawn to the display
// manager. The screener's own walks over the displays, sends a frame of what is pending on each, and waits
// until it is woken: by a change to what was pending already, by the watchdog, or by the controller.
class RCShowScreener : public RCAbstractScreener {
 public:
  RCShowScreener();
  // Stops, and brings modes back that no view was started with.
  ~RCShowScreener() override;

  // Depth and rate are those that the preferences have for the level.
  void StartScreening(unsigned char colorReduction) override;
  // `pixelDepth`: 8, 16 or 32 bits, which the viewer is told; 0 is the main display's. `updatesPerSecond`:
  // how often it sends at most; 0 is as often as it can. Returns when the displays are registered and their
  // dimensions sent; full frames follow. Not started, and reported, when there is no thread to be had.
  void StartScreening(unsigned long pixelDepth, unsigned long updatesPerSecond);
  // Waits for the thread, which may be sending.
  void StopScreening(bool quit) override;
  void SignalScreenChanges() override;
  [[nodiscard]] bool Screening() const override { return screening_; }

  // Drives the display in another of its modes; StopScreening() brings the one back that it had before the
  // first switch. Before StartScreening(), which tells the viewer how large the displays are. The error is
  // that of CGDisplaySwitchToMode().
  [[nodiscard]] CGError SwitchDisplayToMode(CGDirectDisplayID display, CFDictionaryRef mode);

  // While it does not screen.
  void SendTestPatternFrameOfAllDisplays();

 private:
  using Clock = std::chrono::steady_clock;
  // What the thread and its starter wait for, in this order.
  enum class Step { kCreated, kRegistered, kMonitored };

  void StartScreenMonitor() EXCLUDES(changeLock_);
  void StopScreenMonitor() EXCLUDES(changeLock_);
  static void MyScreenChangeCallback(uint32_t count, const CGRect* rects, void* screener);
  void SafeAddToChangeRect(uint32_t count, const CGRect* rects) EXCLUDES(changeLock_);
  // What is pending on the display, widened to whole tiles; nothing is afterwards. CGRectZero when nothing
  // was.
  [[nodiscard]] CGRect SafeGetAndResetChangeRect(int32_t index) EXCLUDES(changeLock_);
  void ClearAllChangeRects() EXCLUDES(changeLock_);

  void Screener();
  void SendDimensionsOfAllDisplays() EXCLUDES(changeLock_);
  void SendChanges();
  void SendFrameOfDisplay(CGRect rect, CGDirectDisplayID display);
  void WaitForSignal();
  void WaitUntil(Clock::time_point time);
  void Pass(Step step) EXCLUDES(stepLock_);
  void Await(Step step) EXCLUDES(stepLock_);

  void RestoreDisplayModes();

  void ResetMetrics();
  void LogMetrics(uint32_t count, const CGRect* rects);
  void LogFinalMetrics() const;

  std::atomic<bool> waiting_{false};  // the thread waits; set and cleared under signalMutex_
  std::atomic<bool> screening_{false};
  pthread_t thread_{};
  pthread_mutex_t signalMutex_ = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t signalCondition_ =
      PTHREAD_COND_INITIALIZER;  // waiting_ was cleared, or the thread shall end
  Lock changeLock_;              // guards what the display manager has registered, and what is pending there
  Lock stepLock_;
  Condition stepped_;
  Step step_ GUARDED_BY(stepLock_) = Step::kCreated;

  unsigned long pixelDepth_ = 0;
  std::chrono::nanoseconds frameInterval_{0};
  // Made by the first start: it asks for displays and GL, and a controller that shows nothing has one of
  // these.
  std::optional<RCTileEncoder> encoder_;
  // Modes to bring back, by the numbers of their displays.
  const StCFTypeRef<CFMutableDictionaryRef> savedModes_{CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks)};

  // Of the thread, while it runs.
  std::optional<Clock::time_point> sampleStart_;
  float sampleUpdates_ = 0;
  float samplePixels_ = 0;
  uint64_t samples_ = 0;
  double updatesPerSecondSum_ = 0;
  double megabitsPerSecondSum_ = 0;
};
