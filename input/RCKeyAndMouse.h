// Plays the viewer's keyboard and mouse into the session, and gives the local user's back.
#pragma once
#include <Carbon/Carbon.h>
#include <pthread.h>

#include <bitset>
#include <chrono>
#include <cstdint>

#include "broker/Commands.h"
#include "input/ServiceWatch.h"
#include "platform/ThreadSafety.h"

// While it is started local input can be locked and the screen blank, the viewer's mouse and keys by code
// count, and a watcher thread reports where the local user moves the pointer to. Keys by character count at
// any time.
//
// What the viewer still holds when StopHID() comes, or this object's end, is released in the session. The
// same, and the end of lock and blank, happens when the service has had no connection for a time; the next
// connection, settings or start bring lock and blank back.
//
// Any thread; the commands are meant to come from one.
class RCKeyAndMouse {
 public:
  static constexpr std::chrono::milliseconds kServiceLimit = std::chrono::seconds(30);

  // `serviceLimit`: how long the service may be away before the local user gets the machine back.
  explicit RCKeyAndMouse(std::chrono::milliseconds serviceLimit = kServiceLimit);
  ~RCKeyAndMouse();
  RCKeyAndMouse(const RCKeyAndMouse&) = delete;
  RCKeyAndMouse& operator=(const RCKeyAndMouse&) = delete;

  // Stores what the viewer asks for and the preferences allow by now; StartHID() makes it so. Keys are those
  // of the layout that the session has by now.
  void Handle_CMD_VIEW_START(const ViewStartRecord* start) EXCLUDES(lock_);

  // May be called again, and then applies the settings anew.
  void StartHID() EXCLUDES(lock_);
  // Waits for the watcher; does nothing when not started.
  void StopHID() EXCLUDES(lock_);

  // Stops for good, whoever started, and releases all that is held; nothing is started or played any more. So
  // does the end of this object, which a process that ends does not wait for.
  void End() EXCLUDES(lock_);

  // The screen is to be blank while it is started.
  [[nodiscard]] bool BlanksScreen() EXCLUDES(lock_);

  // The service's connection has come or gone.
  void ServiceConnected() { watch_.Connected(); }
  void ServiceDisconnected() { watch_.Disconnected(); }

  // Records that are too short do nothing. `absolute`: the coordinates are the desktop's; otherwise they
  // count from its left upper corner also where that is negative.
  void ReplyTo_CMD_VIEW_MOUSEEVENT(CFDataRef data, bool absolute) EXCLUDES(lock_);
  void ReplyTo_CMD_VIEW_KBDEVENT(CFDataRef data) EXCLUDES(lock_);
  void ReplyTo_CMD_VIEW_ASCII_KBDEVENT(CFDataRef data) EXCLUDES(lock_);

  // Tells the service which of the layouts that it knows the session has.
  static void GetSystemKeyboardLayoutType();

 private:
  using HeldKeys = std::bitset<256>;  // by virtual key

  void Handle_CMD_VIEW_SETTINGS(const ViewStartRecord* settings) REQUIRES(lock_);
  void StopLocked() REQUIRES(lock_);
  void LockInput(bool lock) REQUIRES(lock_);
  void AllowLocalEvents() REQUIRES(lock_);
  void BlankScreen(bool on) REQUIRES(lock_);
  // What the service's connection means for a session that is started.
  void FollowService() EXCLUDES(lock_);

  // A key in the platform's or the viewer's code. Flag bit 7: released.
  void StuffKey(unsigned char key, bool isPlatformKey, unsigned char flags) REQUIRES(lock_);
  // A platform key with the Shift state turned round for its time.
  void StuffKeyOppositeShift(unsigned char key, unsigned char flags) REQUIRES(lock_);
  void PostKeyOppositeShift(CGKeyCode key, bool pressed) REQUIRES(lock_);
  // The Shift keys that were released for it, and are to be pressed again.
  [[nodiscard]] HeldKeys TurnShift() REQUIRES(lock_);
  void TurnShiftBack(const HeldKeys& turned) REQUIRES(lock_);
  void PostKey(CGKeyCode key, bool pressed) REQUIRES(lock_);
  void ReleaseHeld() REQUIRES(lock_);

  void StartWatcher() REQUIRES(lock_);
  void StopWatcher() REQUIRES(lock_);
  void Mouser();
  // 0 when there are other injections than `seen`; else the error of the wait, which may be ETIMEDOUT.
  int WaitForInjection(int64_t timeoutNs, uint64_t seen);
  uint64_t Injections();
  // The watcher takes no position for a local one that it reads from now on, until it has seen this.
  void NoteInjection();
  static void SendMousePosition(Point point);

  Lock lock_;
  bool watching_ GUARDED_BY(lock_) = false;
  pthread_t watcher_ GUARDED_BY(lock_){};
  pthread_mutex_t mutex_{};  // guards injections_; held by nobody who waits for anything else
  pthread_cond_t condition_{};
  uint64_t injections_ = 0;  // counts up before and after a posted mouse event
  bool leftButton_ GUARDED_BY(lock_) = false;
  bool rightButton_ GUARDED_BY(lock_) = false;
  bool lockInput_ GUARDED_BY(lock_) = false;
  bool blankScreen_ GUARDED_BY(lock_) = false;
  bool started_ GUARDED_BY(lock_) = false;
  bool ended_ GUARDED_BY(lock_) = false;
  bool capsLock_ GUARDED_BY(lock_) = false;
  bool shiftHeld_ GUARDED_BY(lock_) = false;
  bool screenBlanked_ GUARDED_BY(lock_) = false;
  bool suspended_ GUARDED_BY(lock_) = false;        // the service is away: neither lock nor blank
  HeldKeys held_ GUARDED_BY(lock_);                 // keys that are down
  HeldKeys missing_ GUARDED_BY(lock_);              // keys that do not exist, and were reported
  bool keyboardMissing_ GUARDED_BY(lock_) = false;  // no key can be posted, which was reported
  bool mouseMissing_ GUARDED_BY(lock_) = false;     // the same of mouse events
  ServiceWatch watch_;
};
