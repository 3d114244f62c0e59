#include "legacy/RCShowScreener.h"

#include <asl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>

#include "common/KCDebugging.h"
#include "common/KCPrefsRemote.h"
#include "common/KCasl.h"
#include "legacy/FrameWatchdogTimer.h"
#include "legacy/RCDisplayManager.h"
#include "platform/System.h"

namespace {

constexpr uint32_t kMaxDisplays = 32;

RCDisplayManager& Displays() { return RCDisplayManager::instance(); }

// Of the main display as it is driven now; 0 without one.
unsigned long CurrentDepth() {
  int32_t depth = 0;
  const CFDictionaryRef mode = CGDisplayCurrentMode(CGMainDisplayID());
  const void* const number = mode == nullptr ? nullptr : CFDictionaryGetValue(mode, kCGDisplayBitsPerPixel);
  if (number != nullptr) CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt32Type, &depth);
  return static_cast<unsigned long>(depth);
}

unsigned long AcceptedDepth(unsigned long depth) {
  if (depth == 8 || depth == 16 || depth == 32) return depth;
  if (depth != 0) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "StartScreening: Bad pixel depth=%ld; setting to current depth.",
              depth);
  }
  return CurrentDepth();
}

// Registers the active displays anew. The desktop's bounds stay a union over all calls.
CGRect GetDimensionsOfAllDisplays() {
  std::array<CGDirectDisplayID, kMaxDisplays> displays{};
  uint32_t count = 0;
  const CGError error = CGGetActiveDisplayList(kMaxDisplays, displays.data(), &count);
  KCSignalIf(error != kCGErrorSuccess, "GetDimensionsOfAllDisplays: CGGetActiveDisplayList() err=%d.", error);
  Displays().clearDisplayBounds();
  for (uint32_t i = 0; i < count; ++i) {
    Displays().addDisplay(static_cast<int32_t>(i), displays[i], CGDisplayBounds(displays[i]));
  }
  return Displays().desktopBounds();
}

// `key`: a display; `value`: the mode that it had.
void myCFDictionaryApplierFunction(const void* key, const void* value, void*) {
  CGDirectDisplayID display = kCGNullDirectDisplay;
  CFNumberGetValue(static_cast<CFNumberRef>(key), kCFNumberSInt32Type, &display);
  const CGError error = CGDisplaySwitchToMode(display, static_cast<CFDictionaryRef>(value));
  if (error == kCGErrorSuccess) return;
  ASLLogger(ASL_LEVEL_INFO, 1, true, "myCFDictionaryApplierFunction: CGDisplaySwitchToMode: err=%d.", error);
}

// A point where the thread may end.
void AllowCancellation() {
  int former = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &former);
  pthread_testcancel();
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
}

// `wait` is called with the mutex locked, and the thread may end in it. It returns an error number.
template <class Wait>
void WaitCancellably(pthread_mutex_t* mutex, const Wait& wait) {
  int error = pthread_mutex_lock(mutex);
  KCSignalIf(error != 0, "RCShowScreener::Screener:: pthread_mutex_lock err=%ld", static_cast<long>(error));
  int former = 0;
  pthread_cleanup_push([](void* held) { pthread_mutex_unlock(static_cast<pthread_mutex_t*>(held)); }, mutex);
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &former);
  error = wait();
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
  pthread_cleanup_pop(0);
  KCSignalIf(error != 0, "RCShowScreener::Screener:: pthread_cond_wait err=%ld", static_cast<long>(error));
  error = pthread_mutex_unlock(mutex);
  KCSignalIf(error != 0, "RCShowScreener::Screener:: pthread_mutex_unlock err=%ld", static_cast<long>(error));
}

}  // namespace

RCShowScreener::RCShowScreener() = default;

RCShowScreener::~RCShowScreener() {
  RCShowScreener::StopScreening(true);
  RestoreDisplayModes();
}

// ---- start and stop

void RCShowScreener::StartScreening(unsigned char colorReduction) {
  unsigned long depth = 0;
  unsigned long updatesPerSecond = 0;
  double secondsPerKeyFrame = 0;
  KCPrefsRemote::GetPrefs()->GetPerformanceSettings(colorReduction, depth, updatesPerSecond,
                                                    secondsPerKeyFrame);
  StartScreening(depth, updatesPerSecond);
}

void RCShowScreener::StartScreening(unsigned long pixelDepth, unsigned long updatesPerSecond) {
  if (screening_) return;
  pixelDepth_ = AcceptedDepth(pixelDepth);
  frameInterval_ = std::chrono::nanoseconds(updatesPerSecond == 0 ? 0 : 1'000'000'000 / updatesPerSecond);
  std::array<CGDirectDisplayID, kMaxDisplays> displays{};
  uint32_t count = 0;
  const CGError listed = CGGetActiveDisplayList(kMaxDisplays, displays.data(), &count);
  KCSignalIf(listed != kCGErrorSuccess, "RCShowScreener::StartScreening: CGGetActiveDisplayList() err=%d.",
             listed);
  ResetMetrics();
  if (!encoder_) encoder_.emplace();
  waiting_ = false;
  Pass(Step::kCreated);
  const int error = pthread_create(
      &thread_, nullptr,
      [](void* screener) -> void* {
        static_cast<RCShowScreener*>(screener)->Screener();
        return nullptr;
      },
      this);
  KCSignalIf(error != 0, "RCShowScreener::StartScreening:: pthread_create err=%ld", static_cast<long>(error));
  if (error != 0) return;
  Await(Step::kRegistered);
  StartScreenMonitor();
  // Only now: what the monitor clears is not yet the first full frame.
  Pass(Step::kMonitored);
  FrameWatchdogTimer::instance().Start(this);
}

void RCShowScreener::StopScreening(bool) {
  if (!screening_) return;
  StopScreenMonitor();
  pthread_mutex_lock(&signalMutex_);
  int error = pthread_cond_signal(&signalCondition_);
  pthread_mutex_unlock(&signalMutex_);
  KCSignalIf(error != 0, "RCShowScreener::StopScreening: pthread_cond_signal err=%ld",
             static_cast<long>(error));
  encoder_->Reset();
  pthread_cancel(thread_);
  error = pthread_join(thread_, nullptr);
  KCSignalIf(error != 0, "RCShowScreener::StopScreening:: pthread_join err=%ld", static_cast<long>(error));
  RestoreDisplayModes();
  LogFinalMetrics();
  FrameWatchdogTimer::instance().Stop();
}

// ---- what changes

void RCShowScreener::StartScreenMonitor() {
  if (screening_.exchange(true)) return;
  ClearAllChangeRects();
  const CGError error = CGRegisterScreenRefreshCallback(MyScreenChangeCallback, this);
  KCSignalIf(error != kCGErrorSuccess,
             "RCShowScreener::StartScreenMonitor: CGRegisterScreenRefreshCallback err=%d", error);
}

void RCShowScreener::StopScreenMonitor() {
  if (!screening_) return;
  CGUnregisterScreenRefreshCallback(MyScreenChangeCallback, this);
  screening_ = false;
  ClearAllChangeRects();
}

void RCShowScreener::MyScreenChangeCallback(uint32_t count, const CGRect* rects, void* screener) {
  static_cast<RCShowScreener*>(screener)->SafeAddToChangeRect(count, rects);
}

void RCShowScreener::SafeAddToChangeRect(uint32_t count, const CGRect* rects) {
  bool covered = false;
  {
    const Locked locked(changeLock_);
    for (const CGRect& rect : std::span(rects, count))
      for (int32_t index = 0; index < Displays().displayCount(); ++index)
        covered |= Displays().addRectToChangeRect(index, rect);
  }
  // What only grows waits for the watchdog, or for more of the same: it is sent in one frame then.
  if (covered) SignalScreenChanges();
}

CGRect RCShowScreener::SafeGetAndResetChangeRect(int32_t index) {
  const Locked locked(changeLock_);
  const CGRect pending = RCTileEncoder::AlignToTiles(Displays().changeRect(index));
  Displays().clearChangeRect(index);
  return pending;
}

void RCShowScreener::ClearAllChangeRects() {
  const Locked locked(changeLock_);
  Displays().clearAllChangeRects();
}

void RCShowScreener::SignalScreenChanges() {
  if (!waiting_) return;
  int error = pthread_mutex_lock(&signalMutex_);
  KCSignalIf(error != 0, "RCShowScreener::SignalScreenChanges:: pthread_mutex_lock err=%ld",
             static_cast<long>(error));
  error = pthread_cond_signal(&signalCondition_);
  KCSignalIf(error != 0, "RCShowScreener::SignalScreenChanges:: pthread_cond_signal err=%ld",
             static_cast<long>(error));
  waiting_ = false;
  error = pthread_mutex_unlock(&signalMutex_);
  // Readers of the log know it as it is.
  KCSignalIf(error != 0, "RCShowScreener::SignalScreenChanges:: pthread_mutex_lock err=%ld",
             static_cast<long>(error));
}

// ---- the thread

// It can be cancelled while it waits and around that, and nowhere else: a cancellation in the display's
// calls, the log or the message port would destroy more than the thread.
void RCShowScreener::Screener() {
  int former = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
  SendDimensionsOfAllDisplays();
  Pass(Step::kRegistered);
  Await(Step::kMonitored);
  {
    const Locked locked(changeLock_);
    Displays().changeAllDisplays();
  }
  for (;;) {
    const Clock::time_point begun = Clock::now();
    SendChanges();
    AllowCancellation();
    WaitForSignal();
    WaitUntil(begun + frameInterval_);
    AllowCancellation();
  }
}

void RCShowScreener::SendDimensionsOfAllDisplays() {
  CGRect desktop;
  {
    const Locked locked(changeLock_);
    desktop = GetDimensionsOfAllDisplays();
  }
  if (!CGRectEqualToRect(desktop, CGRectZero)) {
    encoder_->SendDimensionsOfAllDisplays(static_cast<uint32_t>(pixelDepth_), desktop);
  }
}

void RCShowScreener::SendChanges() {
  for (int32_t index = 0; index < Displays().displayCount(); ++index) {
    const CGRect rect = SafeGetAndResetChangeRect(index);
    const bool nothing = CGRectEqualToRect(rect, CGRectZero);
    if (nothing && !FrameWatchdogTimer::m_didTimeOut) continue;
    SendFrameOfDisplay(rect, Displays().displayID(index));
    if (!nothing) FrameWatchdogTimer::m_gotFrames = true;
    FrameWatchdogTimer::m_didTimeOut = false;
  }
}

void RCShowScreener::SendFrameOfDisplay(CGRect rect, CGDirectDisplayID display) {
  encoder_->SendFrameOfDisplay(rect, display);
  LogMetrics(1, &rect);
}

void RCShowScreener::WaitForSignal() {
  WaitCancellably(&signalMutex_, [this] {
    waiting_ = true;
    int error = 0;
    while (waiting_ && error == 0) error = pthread_cond_wait(&signalCondition_, &signalMutex_);
    return error;
  });
}

void RCShowScreener::WaitUntil(Clock::time_point time) {
  WaitCancellably(&signalMutex_, [this, time] {
    for (auto left = time - Clock::now(); left.count() > 0; left = time - Clock::now()) {
      const int error = platform::ConditionWaitRelative(&signalCondition_, &signalMutex_, left.count());
      if (error != 0 && error != ETIMEDOUT) return error;
    }
    return 0;
  });
}

void RCShowScreener::Pass(Step step) {
  const Locked locked(stepLock_);
  step_ = step;
  stepped_.NotifyAll();
}

void RCShowScreener::Await(Step step) {
  const Locked locked(stepLock_);
  while (step_ < step) stepped_.Wait(stepLock_);
}

// ---- modes

CGError RCShowScreener::SwitchDisplayToMode(CGDirectDisplayID display, CFDictionaryRef mode) {
  const CFDictionaryRef before = CGDisplayCurrentMode(display);
  const CGError error = CGDisplaySwitchToMode(display, mode);
  if (error != kCGErrorSuccess || before == nullptr) return error;
  const StCFTypeRef<CFNumberRef> key(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &display));
  if (!CFDictionaryContainsKey(savedModes_, key)) CFDictionarySetValue(savedModes_, key, before);
  return kCGErrorSuccess;
}

void RCShowScreener::RestoreDisplayModes() {
  CFDictionaryApplyFunction(savedModes_, myCFDictionaryApplierFunction, nullptr);
  CFDictionaryRemoveAllValues(savedModes_);
}

// ---- a test picture

void RCShowScreener::SendTestPatternFrameOfAllDisplays() {
  if (!encoder_) encoder_.emplace();
  SendDimensionsOfAllDisplays();
  for (int32_t index = 0; index < Displays().displayCount(); ++index)
    encoder_->SendTestPatternFrame(Displays().displayBounds(Displays().displayID(index)));
}

// ---- metrics

void RCShowScreener::ResetMetrics() {
  sampleStart_.reset();
  sampleUpdates_ = 0;
  samplePixels_ = 0;
  samples_ = 0;
  updatesPerSecondSum_ = 0;
  megabitsPerSecondSum_ = 0;
}

void RCShowScreener::LogMetrics(uint32_t count, const CGRect* rects) {
  constexpr double kSampleUs = 1'000'000;
  const Clock::time_point now = Clock::now();
  if (!sampleStart_) sampleStart_ = now;
  sampleUpdates_ += 1;
  for (const CGRect& rect : std::span(rects, count))
    samplePixels_ += static_cast<float>(CGRectGetWidth(rect) * CGRectGetHeight(rect));
  const double elapsedUs = std::chrono::duration<double, std::micro>(now - *sampleStart_).count();
  if (elapsedUs < kSampleUs) return;
  updatesPerSecondSum_ += sampleUpdates_ * 1'000'000.0 / elapsedUs;
  megabitsPerSecondSum_ += samplePixels_ * static_cast<double>(pixelDepth_) / elapsedUs;
  ++samples_;
  sampleUpdates_ = 0;
  samplePixels_ = 0;
  sampleStart_ = now;
}

void RCShowScreener::LogFinalMetrics() const {
  const auto samples = static_cast<double>(std::max<uint64_t>(samples_, 1));
  ASLLogger(ASL_LEVEL_INFO, 1, true, "Oculon Metrics Final: average %2.1f ups %4.1f Mbps\n",
            updatesPerSecondSum_ / samples, megabitsPerSecondSum_ / samples);
}
