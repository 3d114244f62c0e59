#include "input/RCKeyAndMouse.h"

#include <asl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "common/KCDebugging.h"
#include "common/KCPrefsRemote.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "input/KeyTables.h"
#include "legacy/RCDisplayManager.h"
#include "observer/RCOculon.h"
#include "platform/System.h"

namespace {

constexpr CGKeyCode kShift = 56;
constexpr CGKeyCode kCapsLock = 57;
constexpr CGKeyCode kRightShift = 60;
constexpr uint8_t kReleased = 0x80;

constexpr int64_t kWatchNs = 100'000'000;
constexpr int64_t kWatchAfterInjectionNs = 500'000'000;

constexpr float kReservationSeconds = 15;
constexpr float kFadeSeconds = 2;
constexpr uint32_t kMaxDisplays = 32;

constexpr CGEventFilterMask kNoLocalEvents = 0;
constexpr CGEventFilterMask kAllLocalEvents = 7;

// The virtual keys of the letters. They are places: what is a letter on one layout can be a bracket on
// another.
bool isAlpha(CGKeyCode key) {
  constexpr uint64_t kLetterKeys = 0x616d8003fbff;
  return key <= 46 && (kLetterKeys >> key & 1) != 0;
}

CGKeyCode TranslateKey(uint8_t viewerKey) {
  for (const uint16_t* pair = gMacVirtualKeys; pair[0] != 0 || pair[1] != 0; pair += 2)
    if (pair[0] == viewerKey) return pair[1];
  return viewerKey;
}

// How far a desktop reaches to the left of, or above, the point that coordinates count from.
struct Offset {
  CGFloat x;
  CGFloat y;
};
Offset NegativeMinimum() {
  const CGRect desktop = RCDisplayManager::instance().desktopBounds();
  return {std::min(CGRectGetMinX(desktop), 0.0), std::min(CGRectGetMinY(desktop), 0.0)};
}

const char* Reason(CGError error) {
  switch (error) {
    case kCGErrorNoneAvailable:
      return "the session has none";
    case kCGErrorNotImplemented:
      return "the window server does not know how";
    case kCGErrorCannotComplete:
      return "another program prevents it, or the window server has gone";
    default:
      return "the window server refuses it";
  }
}

// Logs a refusal in words, behind the line with its number.
void LogRefusal(const char* what, CGError error) {
  ASLLogger(ASL_LEVEL_INFO, 1, true, "RCKeyAndMouse: %s: %s\n", what, Reason(error));
}

// The screen gets from one fraction of black to another.
void Fade(CGDisplayBlendFraction from, CGDisplayBlendFraction to) {
  CGDisplayFadeReservationToken token = kCGDisplayFadeReservationInvalidToken;
  CGError error = CGAcquireDisplayFadeReservation(kReservationSeconds, &token);
  if (error != kCGErrorSuccess) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "CGAcquireDisplayFadeReservation(): err=%d\n", error);
    return;
  }
  error = CGDisplayFade(token, kFadeSeconds, from, to, 0, 0, 0, 1);
  if (error != kCGErrorSuccess) ASLLogger(ASL_LEVEL_INFO, 1, true, "CGDisplayFade(): err=%d\n", error);
  error = CGReleaseDisplayFadeReservation(token);
  if (error != kCGErrorSuccess)
    ASLLogger(ASL_LEVEL_INFO, 1, true, "CGReleaseDisplayFadeReservation(): err=%d\n", error);
}

void DarkenDisplays() {
  std::array<CGDirectDisplayID, kMaxDisplays> displays{};
  uint32_t count = 0;
  CGGetActiveDisplayList(kMaxDisplays, displays.data(), &count);
  CGError refusal = kCGErrorSuccess;
  for (uint32_t i = 0; i < count; ++i) {
    // Ramps from 0 to 0.
    const CGError error = CGSetDisplayTransferByFormula(displays[i], 0, 0, 1, 0, 0, 1, 0, 0, 1);
    if (error != kCGErrorSuccess) refusal = error;
  }
  if (refusal != kCGErrorSuccess) LogRefusal("the local screen is not blank", refusal);
}

}  // namespace

RCKeyAndMouse::RCKeyAndMouse(std::chrono::milliseconds serviceLimit)
    : watch_(serviceLimit, [this] { FollowService(); }) {
  int error = pthread_mutex_init(&mutex_, nullptr);
  KCSignalIf(error != 0, "RCKeyAndMouse::RCKeyAndMouse:: pthread_mutex_init err=%ld",
             static_cast<long>(error));
  BuildTables();
  error = pthread_cond_init(&condition_, nullptr);
  KCSignalIf(error != 0, "RCKeyAndMouse::RCKeyAndMouse:: pthread_cond_init err=%ld",
             static_cast<long>(error));
}

RCKeyAndMouse::~RCKeyAndMouse() {
  End();
  pthread_cond_destroy(&condition_);
  pthread_mutex_destroy(&mutex_);
}

void RCKeyAndMouse::End() {
  const Locked locked(lock_);
  ended_ = true;
  StopLocked();
  // Characters can be held by a viewer that never started.
  ReleaseHeld();
}

void RCKeyAndMouse::Handle_CMD_VIEW_START(const ViewStartRecord* start) {
  BuildTables();
  const Locked locked(lock_);
  Handle_CMD_VIEW_SETTINGS(start);
}

void RCKeyAndMouse::Handle_CMD_VIEW_SETTINGS(const ViewStartRecord* settings) {
  const KCPrefsRemote* const preferences = KCPrefsRemote::GetPrefs();
  lockInput_ = settings->lockInput != 0 && preferences->GetLockKeyboardMouse();
  blankScreen_ = (settings->blankScreen & 1) != 0 && preferences->GetBlankScreen();
}

bool RCKeyAndMouse::BlanksScreen() {
  const Locked locked(lock_);
  return blankScreen_;
}

// ---- the hooks

void RCKeyAndMouse::StartHID() {
  const Locked locked(lock_);
  if (ended_) return;
  const bool wasStarted = std::exchange(started_, true);
  suspended_ = false;
  watch_.Restart();
  LockInput(lockInput_);
  CGError error = CGEnableEventStateCombining(false);
  if (error != kCGErrorSuccess)
    ASLLogger(ASL_LEVEL_INFO, 1, true,
              "RCKeyAndMouse::StartHID: CGEnableEventStateCombining(false) err=%ld\n",
              static_cast<long>(error));
  error =
      CGSetLocalEventsFilterDuringSuppressionState(kNoLocalEvents, kCGEventSuppressionStateRemoteMouseDrag);
  if (error != kCGErrorSuccess)
    ASLLogger(ASL_LEVEL_INFO, 1, true,
              "RCKeyAndMouse::StartHID: CGSetLocalEventsFilterDuringSupressionState err=%ld\n",
              static_cast<long>(error));
  if (!wasStarted) StartWatcher();
  BlankScreen(blankScreen_);
}

void RCKeyAndMouse::StopHID() {
  const Locked locked(lock_);
  StopLocked();
}

void RCKeyAndMouse::StopLocked() {
  if (!started_) return;
  ReleaseHeld();
  BlankScreen(false);
  blankScreen_ = false;
  StopWatcher();
  AllowLocalEvents();
  started_ = false;
  suspended_ = false;
}

void RCKeyAndMouse::LockInput(bool lock) {
  const CGError error = CGInhibitLocalEvents(lock);
  if (error == kCGErrorSuccess) return;
  ASLLogger(ASL_LEVEL_INFO, 1, true, "RCKeyAndMouse::StartHID: CGInhibitLocalEvents(%d) err=%ld\n", lock,
            static_cast<long>(error));
  if (lock) LogRefusal("local keyboard and mouse are not locked", error);
}

void RCKeyAndMouse::AllowLocalEvents() {
  CGError error = CGInhibitLocalEvents(false);
  if (error != kCGErrorSuccess)
    ASLLogger(ASL_LEVEL_INFO, 1, true, "CGInhibitLocalEvents(false): err=%ld\n", static_cast<long>(error));
  error = CGEnableEventStateCombining(true);
  // The service's readers of the log know it as it is.
  if (error != kCGErrorSuccess)
    ASLLogger(ASL_LEVEL_INFO, 1, true, "CGEnableEventStateCombining(false): err=%ld\n",
              static_cast<long>(error));
  error = CGSetLocalEventsFilterDuringSuppressionState(kAllLocalEvents,
                                                       kCGEventSuppressionStateSuppressionInterval);
  if (error != kCGErrorSuccess)
    ASLLogger(ASL_LEVEL_INFO, 1, true, "CGSetLocalEventsFilterDuringSupressionState(): err=%ld\n",
              static_cast<long>(error));
}

void RCKeyAndMouse::BlankScreen(bool on) {
  if (on == screenBlanked_) return;
  if (on) {
    Fade(kCGDisplayBlendNormal, kCGDisplayBlendSolidColor);
    DarkenDisplays();
  } else {
    Fade(kCGDisplayBlendSolidColor, kCGDisplayBlendNormal);
    CGDisplayRestoreColorSyncSettings();
  }
  screenBlanked_ = on;
}

void RCKeyAndMouse::FollowService() {
  const Locked locked(lock_);
  if (watch_.Away()) {
    ReleaseHeld();
    if (!started_ || suspended_) return;
    suspended_ = true;
    ASLLogger(ASL_LEVEL_INFO, 1, true,
              "RCKeyAndMouse: the service is away: local input and screen are free\n");
    LockInput(false);
    BlankScreen(false);
  } else if (suspended_) {
    suspended_ = false;
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCKeyAndMouse: the service is back\n");
    LockInput(lockInput_);
    BlankScreen(blankScreen_);
  }
}

// ---- the viewer's events

void RCKeyAndMouse::ReplyTo_CMD_VIEW_MOUSEEVENT(CFDataRef data, bool absolute) {
  enum : uint8_t { kMove = 1, kLeftDown = 2, kLeftUp = 4, kRightDown = 8, kRightUp = 16 };
  const Locked locked(lock_);
  if (!started_) return;
  const auto event = ReadRecord<MouseEventRecord>(data);
  if (!event) return;
  const auto update = [&event](bool& button, uint8_t down, uint8_t up) {
    if ((event->flags & down) != 0)
      button = true;
    else if ((event->flags & up) != 0)
      button = false;
  };
  update(leftButton_, kLeftDown, kLeftUp);
  update(rightButton_, kRightDown, kRightUp);
  const Offset offset = absolute ? Offset{0, 0} : NegativeMinimum();
  watch_.Arm();
  NoteInjection();
  const CGError error = CGPostMouseEvent({event->x + offset.x, event->y + offset.y}, event->flags & kMove, 2,
                                         leftButton_, static_cast<boolean_t>(rightButton_));
  if (error != kCGErrorSuccess && !mouseMissing_)
    ASLLogger(ASL_LEVEL_INFO, 1, true, "%s: CGPostMouseEvent(): err=%d\n", __func__, error);
  mouseMissing_ = error != kCGErrorSuccess;
  NoteInjection();
  const int signalled = pthread_cond_signal(&condition_);
  KCSignalIf(signalled != 0, "%s: pthread_cond_signal err=%ld", __func__, static_cast<long>(signalled));
}

void RCKeyAndMouse::ReplyTo_CMD_VIEW_KBDEVENT(CFDataRef data) {
  const Locked locked(lock_);
  if (!started_) return;
  const auto event = ReadRecord<KeyEventRecord>(data);
  if (!event) return;
  watch_.Arm();
  StuffKey(event->keyCode, false, event->flags);
}

void RCKeyAndMouse::ReplyTo_CMD_VIEW_ASCII_KBDEVENT(CFDataRef data) {
  const auto event = ReadRecord<AsciiKeyEventRecord>(data);
  if (!event) return;
  // A single byte is UTF-8 up to 127; the tables have no key for any other.
  if (event->character > 127)
    std::fprintf(stderr, "CFString: Can't convert %d using UTF8 encoding\n", event->character);
  bool shift = event->shift != 0;
  CGKeyCode key = FindKey(event->character, shift);
  if (key == kNoKey) {
    shift = !shift;
    key = FindKey(event->character, shift);
  }
  const Locked locked(lock_);
  if (ended_) return;
  watch_.Arm();
  if (key == kNoKey)
    StuffKey(event->fallbackKeyCode, false, event->flags);
  else if (shift == shiftHeld_)
    StuffKey(static_cast<unsigned char>(key), true, event->flags);
  else
    // Also a viewer that says Shift without pressing its key gets its character.
    StuffKeyOppositeShift(static_cast<unsigned char>(key), event->flags);
}

// ---- keys

void RCKeyAndMouse::StuffKey(unsigned char key, bool isPlatformKey, unsigned char flags) {
  if (key == 0 && !isPlatformKey) return;
  const CGKeyCode virtualKey = isPlatformKey ? key : TranslateKey(key);
  const bool pressed = (flags & kReleased) == 0;
  if (virtualKey == kCapsLock) {
    if (pressed) capsLock_ = !capsLock_;
  } else if (virtualKey == kShift || virtualKey == kRightShift) {
    const CGKeyCode other = virtualKey == kShift ? kRightShift : kShift;
    shiftHeld_ = pressed || held_[other];
  } else if (capsLock_ && isAlpha(virtualKey)) {
    // Shift stands in for Caps Lock, so the session's own lock does not matter.
    PostKeyOppositeShift(virtualKey, pressed);
    return;
  }
  PostKey(virtualKey, pressed);
}

void RCKeyAndMouse::StuffKeyOppositeShift(unsigned char key, unsigned char flags) {
  const HeldKeys turned = TurnShift();
  StuffKey(key, true, flags);
  TurnShiftBack(turned);
}

void RCKeyAndMouse::PostKeyOppositeShift(CGKeyCode key, bool pressed) {
  const HeldKeys turned = TurnShift();
  PostKey(key, pressed);
  TurnShiftBack(turned);
}

RCKeyAndMouse::HeldKeys RCKeyAndMouse::TurnShift() {
  HeldKeys turned;
  if (!shiftHeld_) {
    PostKey(kShift, true);
    return turned;
  }
  for (const CGKeyCode shift : {kShift, kRightShift}) {
    if (!held_[shift]) continue;
    turned.set(shift);
    PostKey(shift, false);
  }
  return turned;
}

void RCKeyAndMouse::TurnShiftBack(const HeldKeys& turned) {
  if (!shiftHeld_) PostKey(kShift, false);
  for (const CGKeyCode shift : {kShift, kRightShift})
    if (turned[shift]) PostKey(shift, true);
}

void RCKeyAndMouse::PostKey(CGKeyCode key, bool pressed) {
  const CGError error = CGPostKeyboardEvent(0, key, pressed);
  held_[key] = pressed && error == kCGErrorSuccess;
  if (error == kCGErrorSuccess) {
    missing_.reset(key);
    keyboardMissing_ = false;
    return;
  }
  // A key that nobody has is named in the log; one that failed to arrive is nobody's business.
  const bool noSuchKey = error == kCGErrorNoneAvailable;
  if (noSuchKey ? missing_[key] : keyboardMissing_) return;
  ASLLogger(ASL_LEVEL_INFO, 1, true, "%s: CGPostMouseEvent():CGEventCreateKeyboardEvent is err %d\n",
            "StuffKey", error);
  if (noSuchKey) {
    missing_.set(key);
    LogRefusal(("virtual key " + std::to_string(key) + " is not posted").c_str(), error);
  } else {
    keyboardMissing_ = true;
    LogRefusal("keys are not posted", error);
  }
}

void RCKeyAndMouse::ReleaseHeld() {
  for (size_t key = 0; key < held_.size(); ++key)
    if (held_[key]) PostKey(static_cast<CGKeyCode>(key), false);
  shiftHeld_ = false;
  if (!leftButton_ && !rightButton_) return;
  leftButton_ = false;
  rightButton_ = false;
  CGPostMouseEvent({0, 0}, false, 2, false, static_cast<boolean_t>(false));
}

void RCKeyAndMouse::GetSystemKeyboardLayoutType() {
  const std::array kNames = {CFSTR("French"), CFSTR("German"), CFSTR("Japanese")};
  KeyboardLayoutRecord record = {
      .code = 50, .length = sizeof record, .unused = 0, .layout = 0, .unused2 = {}};
  const StCFTypeRef<TISInputSourceRef> source(TISCopyCurrentKeyboardInputSource());
  const auto identifier =
      source == nullptr
          ? nullptr
          : static_cast<CFStringRef>(TISGetInputSourceProperty(source, kTISPropertyInputSourceID));
  for (size_t i = 0; identifier != nullptr && record.layout == 0 && i < kNames.size(); ++i)
    if (CFStringFind(identifier, kNames[i], 0).location != kCFNotFound)
      record.layout = static_cast<uint8_t>(i + 1);
  const StCFTypeRef<CFDataRef> data(
      CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(&record), sizeof record));
  RCOculon::GetOculon()->SendData(data);
}

// ---- the pointer watcher

void RCKeyAndMouse::StartWatcher() {
  const int error = pthread_create(
      &watcher_, nullptr,
      [](void* self) -> void* {
        static_cast<RCKeyAndMouse*>(self)->Mouser();
        return nullptr;
      },
      this);
  KCSignalIf(error != 0, "RCKeyAndMouse::StartHID:: pthread_create err=%ld", static_cast<long>(error));
  watching_ = error == 0;
}

void RCKeyAndMouse::StopWatcher() {
  if (!std::exchange(watching_, false)) return;
  pthread_mutex_lock(&mutex_);
  int error = pthread_cond_signal(&condition_);
  pthread_mutex_unlock(&mutex_);
  KCSignalIf(error != 0, "RCKeyAndMouse::StopHID: pthread_cond_signal err=%ld", static_cast<long>(error));
  error = pthread_cancel(watcher_);
  KCSignalIf(error != 0, "RCKeyAndMouse::StopHID: pthread_cancel err=%ld", static_cast<long>(error));
  error = pthread_join(watcher_, nullptr);
  KCSignalIf(error != 0, "RCKeyAndMouse::StopHID: pthread_join err=%ld", static_cast<long>(error));
}

// The thread can be cancelled in its wait and after each pass, and nowhere else: a cancellation in the
// display's calls, the log or the message port would destroy more than the thread.
void RCKeyAndMouse::Mouser() {
  int former = 0;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
  uint64_t seen = Injections();
  auto known = platform::PointerLocation();
  int64_t timeoutNs = kWatchNs;
  for (;;) {
    const int error = WaitForInjection(timeoutNs, seen);
    if (error != 0 && error != ETIMEDOUT) {
      KCSignalIf(true, "RCKeyAndMouse::CheckMousePosition:: pthread_cond_timedwait_relative_np err=%ld",
                 static_cast<long>(error));
      return;  // the next wait would fail, too, and at once
    }
    const uint64_t before = Injections();
    auto location = platform::PointerLocation();
    if (before != seen || Injections() != before) {
      // What comes from here on is for the next pass. The server may have answered before it read the posted
      // event, which lay there already; it has read it by the time of a second question.
      seen = before;
      location = platform::PointerLocation();
      timeoutNs = kWatchAfterInjectionNs;
    } else if (location && known && (location->x != known->x || location->y != known->y)) {
      const CGFloat height = CGRectGetHeight(CGDisplayBounds(CGMainDisplayID()));
      SendMousePosition(
          {.v = static_cast<short>(height - location->y), .h = static_cast<short>(location->x)});
      timeoutNs = kWatchNs;
    }
    known = location;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &former);
    pthread_testcancel();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
  }
}

int RCKeyAndMouse::WaitForInjection(int64_t timeoutNs, uint64_t seen) {
  int error = 0;
  int former = 0;
  pthread_mutex_lock(&mutex_);
  pthread_cleanup_push([](void* mutex) { pthread_mutex_unlock(static_cast<pthread_mutex_t*>(mutex)); },
                       &mutex_);
  while (error == 0 && injections_ == seen) {
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &former);
    error = platform::ConditionWaitRelative(&condition_, &mutex_, timeoutNs);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former);
  }
  pthread_cleanup_pop(1);
  return error;
}

uint64_t RCKeyAndMouse::Injections() {
  pthread_mutex_lock(&mutex_);
  const uint64_t injections = injections_;
  pthread_mutex_unlock(&mutex_);
  return injections;
}

void RCKeyAndMouse::NoteInjection() {
  pthread_mutex_lock(&mutex_);
  ++injections_;
  pthread_mutex_unlock(&mutex_);
}

void RCKeyAndMouse::SendMousePosition(Point point) {
  const Offset offset = NegativeMinimum();
  const PointerPositionRecord record = {.code = 4,
                                        .length = sizeof record,
                                        .unused = {},
                                        .x = static_cast<uint16_t>(point.h - static_cast<int>(offset.x)),
                                        .y = static_cast<uint16_t>(point.v - static_cast<int>(offset.y))};
  const StCFTypeRef<CFDataRef> data(
      CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(&record), sizeof record));
  RCOculon::GetOculon()->SendISSData(data, kControlStatus);
}
