// The observer's end of the channel to the remote-control service.
#pragma once
#include "broker/RCOculonClient.h"
#include "broker/RCZmqBroker.h"
#include "common/StCFTypeRef.h"

// A broker server at the endpoint where the service looks for the observer, with the process-ID file by which
// the service finds the process. A second observer of the same installation takes both over.
//
// Threads: as the base; StartBroker() and StopBroker() alternate.
class RCOculonServer : public RCZmqBrokerServerBase {
 public:
  RCOculonServer();

  // Settles the root folder by where the bundle lies, once: the log lies there. For an owner who has
  // something to say before StartBroker(), which does it too.
  void SettleRoot();

  // Writes the process-ID file and serves. False when the endpoint cannot be bound; no process-ID file of
  // ours then remains.
  [[nodiscard]] bool StartBroker();

  // Ends serving (as stop()) and deletes the process-ID file, unless it names another process by now.
  void StopBroker();

  // The console's user when this object was made, "loginwindow" when there was none. Borrowed.
  [[nodiscard]] CFStringRef GetBrokerUserName() const { return consoleUser_; }

 private:
  void DeleteOwnPidFile() const;

  StCFTypeRef<CFStringRef> consoleUser_;
  bool rootSettled_ = false;
};
