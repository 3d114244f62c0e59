#include "legacy/FrameWatchdogTimer.h"

#include <asl.h>

#include <utility>

#include "common/KCasl.h"
#include "legacy/RCShowScreener.h"

FrameWatchdogTimer& FrameWatchdogTimer::instance() {
  static auto* const watchdog = new FrameWatchdogTimer;
  return *watchdog;
}

void FrameWatchdogTimer::Start(RCShowScreener* screener) {
  constexpr EventTimerInterval kFirstSeconds = 1.0;
  constexpr EventTimerInterval kSeconds = 0.2;
  m_screener = screener;
  const OSStatus error = InstallEventLoopTimer(GetMainEventLoop(), kFirstSeconds, kSeconds,
                                               NewEventLoopTimerUPP(InactivityTimerAction), nullptr, &timer_);
  if (error == noErr) return;
  timer_ = nullptr;
  ASLLogger(ASL_LEVEL_INFO, 1, true, "error in InstallEventLoopTimer %d", static_cast<int>(error));
}

void FrameWatchdogTimer::Stop() {
  if (timer_ != nullptr) RemoveEventLoopTimer(std::exchange(timer_, nullptr));
}

void FrameWatchdogTimer::InactivityTimerAction(EventLoopTimerRef, void*) {
  if (!m_gotFrames) {
    // Also when it is set: the screener may have begun to wait just after the last signal, and a second one
    // does nothing otherwise.
    m_didTimeOut = true;
    m_screener.load()->SignalScreenChanges();
  }
  m_gotFrames = false;
}
