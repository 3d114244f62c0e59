// Wakes the screener when nothing has been sent for a while, so that the viewer goes on hearing from it.
#pragma once
#include <Carbon/Carbon.h>

#include <atomic>

class RCShowScreener;

// One for the process, for one screener at a time. Start() and Stop() alternate.
class FrameWatchdogTimer {
 public:
  // Made by the first call, never deleted.
  static FrameWatchdogTimer& instance();

  // Fires on the main loop, after 1 s and then every 0.2 s. A failure is logged; nobody is woken then.
  void Start(RCShowScreener* screener);
  // When it returns the screener is not woken any more.
  void Stop();

  // The screener was woken because of nothing else: it is to send a frame, also one of nothing.
  static inline std::atomic<bool> m_didTimeOut{false};
  // Pixels were sent since the last firing.
  static inline std::atomic<bool> m_gotFrames{false};

 private:
  FrameWatchdogTimer() = default;
  static void InactivityTimerAction(EventLoopTimerRef timer, void* userData);

  static inline std::atomic<RCShowScreener*> m_screener{nullptr};
  EventLoopTimerRef timer_ = nullptr;
};
