// The session controller of the tile viewer: chooses between the two ways of showing the screen, and sends
// records to the service.
#pragma once
#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <cstdint>

#include "broker/Commands.h"
#include "broker/RCOculonBroker.h"
#include "broker/RCRemoteBroker.h"
#include "input/RCKeyAndMouse.h"
#include "legacy/RCShowScreener.h"
#include "platform/ThreadSafety.h"
#include "rcserv/RCHtml5Screener.h"

// One for the process. Under the other controller it is not run: whoever has the first record for the service
// makes it, and nothing but the sending of records is used.
//
// Threads: Run() on the main thread, where the system's events come in; commands on the broker thread;
// sessions are started and stopped by these and by signals; records are sent on any thread.
class RCOculon : public RCOculonServer {
 public:
  RCOculon(const RCOculon&) = delete;
  RCOculon& operator=(const RCOculon&) = delete;

  // Lives to the end of the process. `serviceLimit` is that of the first call: how long the service may be
  // away before the local user gets the machine back.
  [[nodiscard]] static RCOculon* GetOculon(
      std::chrono::milliseconds serviceLimit = RCKeyAndMouse::kServiceLimit);

  // Takes over the process's signals, follows the user's session and starts the broker. SIGHUP, SIGTERM and
  // SIGABRT are to be held. False when there is no window server, or the broker cannot be started.
  [[nodiscard]] bool Run() EXCLUDES(lock_);

  // Starts a session with the screener that is chosen; one that runs goes on, under the settings that were
  // stored meanwhile. Either way the service is told. A tile view without a display ends the process.
  void StartOculon() EXCLUDES(lock_);
  // `quit`: for good, and with the broker, for whose thread it waits.
  void StopOculon(bool quit) EXCLUDES(lock_, quitLock_);

  // Carries out a command; the reply is always empty. Records that are too short do nothing.
  CFDataRef ProcessData(int messageId, CFDataRef payload) override;

  // Sends the bytes behind a StatusHeader of that type. A record is dropped silently while the service is not
  // there.
  void SendISSData(CFDataRef data, CONTROL_TYPES type);
  // Sends the bytes as they are.
  void SendData(CFDataRef data);

  // How far colours of the tile stream are reduced, from a viewer's view type: 1 (not at all) to 5 set ever
  // more low bits, 6 and above none.
  void SetColorReduction(unsigned char viewType);
  [[nodiscard]] uint8_t ColorReduction() const { return colorReduction_; }

  // A SessionEndRecord.
  void SendRCEnd();
  // SendISSData() of the bytes, as a status record or a message of the tile stream.
  void SendBytes(const unsigned char* bytes, long length);

 private:
  explicit RCOculon(std::chrono::milliseconds serviceLimit);

  void InstallEventHandlers();
  // The user's session is no longer at the console.
  void LeaveUserSession() EXCLUDES(lock_, quitLock_);
  [[nodiscard]] RCAbstractScreener* SelectScreener(bool html5) REQUIRES(lock_);
  // False when it must not start any more.
  bool StartOculonLocked(RCAbstractScreener* screener) REQUIRES(lock_);
  void StopOculonLocked(bool quit) REQUIRES(lock_);
  // What every start does at last.
  void AnnounceStart() EXCLUDES(lock_);

  void StartView(const ViewStartRecord& start) EXCLUDES(lock_);
  void EndView(const ViewEndRecord& end) EXCLUDES(lock_);
  void RefreshView() EXCLUDES(lock_);
  void StartHooks(const ViewStartRecord& settings) EXCLUDES(lock_);

  [[nodiscard]] bool MaySend() const { return sendEnabled_ && !quitting_; }
  // In a tile view the service is there as long as its port is.
  void SetTileView(bool tileView) EXCLUDES(portLock_);
  void FollowPort() EXCLUDES(portLock_);

  // Held while a session starts or ends, as these alternate, and while neither waits for the broker thread.
  Lock lock_;
  Lock quitLock_;                   // held while the broker is stopped
  CFRunLoopRef runLoop_ = nullptr;  // the main thread's, borrowed
  RCRemoteClient remoteClient_;
  RCShowScreener tileScreener_ GUARDED_BY(lock_);
  RCHtml5Screener html5Screener_ GUARDED_BY(lock_);
  RCAbstractScreener* currentScreener_ GUARDED_BY(lock_) = &tileScreener_;
  RCKeyAndMouse input_;
  bool started_ GUARDED_BY(lock_) = false;
  std::atomic<bool> sendEnabled_{true};
  std::atomic<bool> quitting_{false};
  bool hold_ GUARDED_BY(lock_) = false;  // a refresh does not start a session
  std::atomic<bool> absoluteMouse_{false};
  std::atomic<uint8_t> colorReduction_{6};

  Lock portLock_;  // the input's watch is told with it held, and asks for nothing
  bool tileView_ GUARDED_BY(portLock_) = false;
  bool portThere_ GUARDED_BY(portLock_) = false;  // and the input's watch knows
};
