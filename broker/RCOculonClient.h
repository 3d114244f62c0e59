// The service's end of the channel to the observer: starts it, forwards a viewer's commands, ends it.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <utility>

#include "broker/RCZmqBroker.h"
#include "common/StCFTypeRef.h"
#include "platform/ThreadSafety.h"

// Any thread. A command that waits for its reply holds no lock, so another thread may restart the observer
// meanwhile.
class RCOculonClient : public RCZmqBrokerClientBase {
 public:
  // An executable that is started directly, in place of the installation's own. Before the first start.
  void UseObserver(std::string executable) { executable_ = std::move(executable); }

  // Launches the observer in the session of the console's user and connects to it; nothing when that was
  // done. False, and logged, when it cannot be launched. A command waits until the new observer answers.
  bool start_observer() EXCLUDES(startLock_, lock_);
  // Disconnects and asks the observer to end.
  void stop_observer() EXCLUDES(startLock_, lock_);
  bool restart_observer() EXCLUDES(startLock_, lock_);
  // The same, and the new observer gets the view settings of the old one.
  void RestartObserver() EXCLUDES(startLock_, lock_);

  // Forwards a viewer's record of a known code and at least its length; a view start launches the observer
  // first, a view end ends it. Gives what the broker gave, the record's least length when it was not
  // forwarded, 0 for any other code.
  long TransferData(const unsigned char* bytes, long length) EXCLUDES(startLock_, lock_);

  // Keeps a copy for RestartObserver().
  void cache_view_info(const unsigned char* bytes, long length) EXCLUDES(lock_);

 private:
  bool StartLocked() REQUIRES(startLock_);
  void StopLocked() REQUIRES(startLock_);
  [[nodiscard]] bool IsStarted() EXCLUDES(lock_);

  std::string executable_;  // empty: the installation's own
  Lock startLock_;          // held while the observer starts or ends; before lock_
  Lock lock_;
  bool started_ GUARDED_BY(lock_) = false;
  StCFTypeRef<CFStringRef> consoleUser_ GUARDED_BY(startLock_);  // for whom it was launched; may be null
  StCFTypeRef<CFDataRef> viewSettings_ GUARDED_BY(lock_);        // null before the first
};
