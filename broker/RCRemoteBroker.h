// What the agent's programs ask of the remote-control service, and send to it.
#pragma once
#include "broker/KCBroker.h"

// Messages of the service's port.
enum RCRemoteMessage : int {
  kRemoteTransferData = 1,      // status records, pointer and keyboard reports, pieces of the tile stream
  kRemoteGetUserName = 2,       // reply: UTF-8
  kRemoteGetComputerName = 3,   // reply: UTF-8
  kRemoteHasRemoteSession = 4,  // reply: a byte, not 0 when there is one
  kRemoteRestartObserver = 5,
  kRemoteQuitChatClients = 6,
  kRemoteEndSession = 7
};

// A client of the service's one port, "com.korvane.kvremote". It never starts the service: while that is not
// there, procedures are dropped silently and functions give null or false.
class RCRemoteClient : public KCBrokerClient {
 public:
  RCRemoteClient();

  [[nodiscard]] bool StartBrokerServer() override;

  // Null when the service does not say. The caller releases.
  [[nodiscard]] CFStringRef GetUserName();
  [[nodiscard]] CFStringRef GetComputerName();
  [[nodiscard]] bool HasRemoteSession();
  void RestartObserver();
  void QuitChatClients();
  void EndSession();

 private:
  [[nodiscard]] StCFTypeRef<CFDataRef> Ask(int msgid);
  [[nodiscard]] CFStringRef AskForText(int msgid);
};
