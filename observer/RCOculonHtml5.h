// The session controller of the HTML5 viewer: what a view is, and the commands that start and end it.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include "broker/RCOculonBroker.h"
#include "broker/RCRemoteBroker.h"
#include "input/RCKeyAndMouse.h"
#include "platform/ThreadSafety.h"
#include "rcserv/RCHtml5Screener.h"

// Threads: made and Run() on the main thread, commands on the broker thread, destroyed on the thread that
// ends the process while a command may still be running.
class RCOculonHtml5 : public RCOculonServer {
 public:
  // `serviceLimit`: how long nobody may ask for the screen before the local user gets the machine back.
  explicit RCOculonHtml5(std::chrono::milliseconds serviceLimit = RCKeyAndMouse::kServiceLimit);

  // Carries out a command; the reply is always empty. Records that are too short do nothing.
  CFDataRef ProcessData(int messageId, CFDataRef payload) override;

  // Ends the session, then the broker.
  ~RCOculonHtml5() override;

  // Starts the broker, once. False when it cannot be started.
  [[nodiscard]] bool Run() EXCLUDES(lock_);

  // Starts a session when the broker runs and there is none.
  void StartOculon() EXCLUDES(lock_);
  void StopOculon() EXCLUDES(lock_);

 private:
  // False when nothing was started.
  bool StartOculonLocked() REQUIRES(lock_);
  void StopOculonLocked() REQUIRES(lock_);
  // What a view start or new settings mean, once they are stored.
  void StartHooks() EXCLUDES(lock_);
  void StartView() EXCLUDES(lock_);

  // Held while a session starts or ends, as these alternate.
  Lock lock_;
  bool brokerRunning_ GUARDED_BY(lock_) = false;
  bool started_ GUARDED_BY(lock_) = false;
  CFRunLoopRef runLoop_;  // the main thread's, borrowed
  RCRemoteClient remoteClient_;
  RCHtml5Screener screener_ GUARDED_BY(lock_);
  RCKeyAndMouse input_;  // outlives the capture thread, which StopOculonLocked() ends
};
