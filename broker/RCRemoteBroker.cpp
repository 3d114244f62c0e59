#include "broker/RCRemoteBroker.h"

namespace {

constexpr CFTimeInterval kReceiveTimeout = 5.0;

}  // namespace

RCRemoteClient::RCRemoteClient() : KCBrokerClient(CFSTR("kvremote"), false) {}

bool RCRemoteClient::StartBrokerServer() { return false; }

CFStringRef RCRemoteClient::GetUserName() { return AskForText(kRemoteGetUserName); }

CFStringRef RCRemoteClient::GetComputerName() { return AskForText(kRemoteGetComputerName); }

bool RCRemoteClient::HasRemoteSession() {
  const StCFTypeRef<CFDataRef> reply = Ask(kRemoteHasRemoteSession);
  return reply != nullptr && CFDataGetLength(reply) > 0 && CFDataGetBytePtr(reply)[0] != 0;
}

void RCRemoteClient::RestartObserver() { CallProcedure(kRemoteRestartObserver, nullptr); }

void RCRemoteClient::QuitChatClients() { CallProcedure(kRemoteQuitChatClients, nullptr); }

void RCRemoteClient::EndSession() { CallProcedure(kRemoteEndSession, nullptr); }

StCFTypeRef<CFDataRef> RCRemoteClient::Ask(int msgid) {
  return StCFTypeRef<CFDataRef>(CallFunction(msgid, nullptr, kReceiveTimeout));
}

CFStringRef RCRemoteClient::AskForText(int msgid) {
  const StCFTypeRef<CFDataRef> reply = Ask(msgid);
  if (reply == nullptr) return nullptr;
  return CFStringCreateWithBytes(kCFAllocatorDefault, CFDataGetBytePtr(reply), CFDataGetLength(reply),
                                 kCFStringEncodingUTF8, false);
}
