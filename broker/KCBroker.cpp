#include "broker/KCBroker.h"

#include <asl.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>

#include "common/KCDebugging.h"
#include "common/KCFolderManager.h"
#include "common/KCPidUtils.h"
#include "common/KCStringUtils.h"
#include "common/KCasl.h"

namespace {

constexpr CFTimeInterval kSendTimeout = 5.0;
constexpr int kTransferDataId = 1;
constexpr int kMaxTries = 3;

template <class Ref>
StCFTypeRef<Ref> Retained(Ref reference) {
  return StCFTypeRef<Ref>(reference == nullptr ? nullptr
                                               : static_cast<Ref>(const_cast<void*>(CFRetain(reference))));
}

StCFTypeRef<CFMessagePortRef> CreateRemotePort(CFStringRef portName) {
  return StCFTypeRef<CFMessagePortRef>(CFMessagePortCreateRemote(kCFAllocatorDefault, portName));
}

StCFTypeRef<CFDataRef> WrapBytes(const unsigned char* bytes, long length) {
  return StCFTypeRef<CFDataRef>(CFDataCreate(kCFAllocatorDefault, bytes, length));
}

std::string SystemText(CFStringRef string) {
  const KCStringHelper text(string, CFStringGetSystemEncoding());
  return text.GetCStringPtr() != nullptr ? text.GetCStringPtr() : "";
}

}  // namespace

// ---- the name

KCBroker::KCBroker(CFStringRef name, bool perConsoleUser)
    : name_(static_cast<CFStringRef>(CFRetain(name))), perConsoleUser_(perConsoleUser) {}

CFStringRef KCBroker::CreateBrokerPortName(CFStringRef name, CFStringRef user) {
  if (user == nullptr)
    return CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("com.korvane.%@"), name);
  return CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("com.korvane.%@.%@"), name, user);
}

StCFTypeRef<CFStringRef> KCBroker::CopyPortUser() const {
  return StCFTypeRef<CFStringRef>(perConsoleUser_ ? KCCopyConsoleUser() : nullptr);
}

// ---- the end that answers

KCBrokerServer::KCBrokerServer(CFStringRef name, bool perConsoleUser)
    : KCBroker(name, perConsoleUser), userName_(CopyPortUser()) {}

KCBrokerServer::~KCBrokerServer() { StopBroker(); }

CFDataRef KCBrokerServer::ProcessData(int, CFDataRef) { return nullptr; }

bool KCBrokerServer::StartBroker(CFRunLoopRef runLoop) {
  const Locked locked(lock_);
  if (port_ != nullptr) return true;
  const StCFTypeRef<CFStringRef> portName(CreateBrokerPortName(name_, userName_));
  CFMessagePortContext context{};
  context.info = this;
  StCFTypeRef<CFMessagePortRef> port(CFMessagePortCreateLocal(
      kCFAllocatorDefault, portName,
      [](CFMessagePortRef, SInt32 msgid, CFDataRef data, void* info) {
        return static_cast<KCBrokerServer*>(info)->ProcessData(msgid, data);
      },
      &context, nullptr));
  if (port == nullptr) return false;
  CFMessagePortSetInvalidationCallBack(
      port, [](CFMessagePortRef lost, void* info) { static_cast<KCBrokerServer*>(info)->ReleasePort(lost); });
  StCFTypeRef<CFRunLoopSourceRef> source(CFMessagePortCreateRunLoopSource(kCFAllocatorDefault, port, 0));
  CFRunLoopAddSource(runLoop, source, kCFRunLoopCommonModes);
  port_ = std::move(port);
  source_ = std::move(source);
  return true;
}

void KCBrokerServer::StopBroker() {
  StCFTypeRef<CFMessagePortRef> port;
  {
    const Locked locked(lock_);
    port = Retained(port_.get());
  }
  if (port != nullptr) CFMessagePortInvalidate(port);
}

// However the port ended: the next StartBroker() makes another.
void KCBrokerServer::ReleasePort(CFMessagePortRef port) {
  StCFTypeRef<CFMessagePortRef> lost;
  StCFTypeRef<CFRunLoopSourceRef> source;
  const Locked locked(lock_);
  if (port_ != port) return;
  lost = std::move(port_);
  source = std::move(source_);
}

// ---- the end that asks

KCBrokerClient::KCBrokerClient(CFStringRef name, bool perConsoleUser)
    : KCBroker(name, perConsoleUser),
      consolePorts_(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                              &kCFTypeDictionaryValueCallBacks)) {}

long KCBrokerClient::TransferData(const unsigned char* bytes, long length) {
  return TransferData(WrapBytes(bytes, length));
}

long KCBrokerClient::TransferData(CFDataRef data) {
  if (data == nullptr) return 0;
  CallProcedure(kTransferDataId, data);
  return CFDataGetLength(data);
}

long KCBrokerClient::TransferDataToAllConsoles(const unsigned char* bytes, long length) {
  return TransferDataToAllConsoles(WrapBytes(bytes, length));
}

long KCBrokerClient::TransferDataToAllConsoles(CFDataRef data) {
  if (data == nullptr) return 0;
  for (const StCFTypeRef<CFStringRef>& user : CopyUsers())
    CallProcedure(CopyPortOf(user), kTransferDataId, data);
  return CFDataGetLength(data);
}

CFMessagePortRef KCBrokerClient::StartBroker() {
  const StCFTypeRef<CFStringRef> user = CopyPortUser();
  const StCFTypeRef<CFStringRef> portName(CreateBrokerPortName(name_, user));
  if (const CFMessagePortRef known = FindPort(portName, user)) return known;

  StCFTypeRef<CFMessagePortRef> port = CreateRemotePort(portName);
  if (port == nullptr) {
    if (!StartBrokerServer()) return nullptr;
    for (int tries = 0; port == nullptr && tries < kMaxTries; ++tries) {
      port = CreateRemotePort(portName);
      if (port == nullptr) std::this_thread::sleep_for(retryDelay_);
    }
    if (port == nullptr) return nullptr;
  }
  // Only a port of another name is worth a line.
  const CFStringRef found = CFMessagePortGetName(port);
  if (!CFEqual(found, portName))
    ASLLogger(ASL_LEVEL_INFO, 1, true, "KCBrokerClient::StartBroker: Found \"%s\" messagePort=0x%X.\n",
              SystemText(found).c_str(), static_cast<unsigned>(reinterpret_cast<uintptr_t>(port.get())));
  return KeepPort(std::move(port), user);
}

CFMessagePortRef KCBrokerClient::FindPort(CFStringRef portName, CFStringRef user) {
  StCFTypeRef<CFMessagePortRef> known;
  {
    const Locked locked(lock_);
    CFMessagePortRef candidate = port_;
    if (user != nullptr)
      candidate = static_cast<CFMessagePortRef>(const_cast<void*>(CFDictionaryGetValue(consolePorts_, user)));
    known = Retained(candidate);
  }
  if (known == nullptr || !CFMessagePortIsValid(known) || !CFEqual(CFMessagePortGetName(known), portName))
    return nullptr;
  return KeepPort(std::move(known), user);
}

CFMessagePortRef KCBrokerClient::KeepPort(StCFTypeRef<CFMessagePortRef> port, CFStringRef user) {
  StCFTypeRef<CFMessagePortRef> before;  // let go without the lock
  const Locked locked(lock_);
  if (user != nullptr) CFDictionarySetValue(consolePorts_, user, port.get());
  before = std::exchange(port_, std::move(port));
  return port_;
}

bool KCBrokerClient::StartBrokerServer() {
  const char* const folder = FetchFolder(kFolderBin);
  if (std::strchr(folder, '\'') != nullptr) {  // it would end the quotes
    KCSignalIf(true, "KCBrokerClient::StartBrokerServer:: not run, its path is not one for the shell: '%s'\n",
               folder);
    return false;
  }
  const StCFTypeRef<CFStringRef> command(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("'%s/%@' &"), folder, name_.get()));
  const int error = std::system(SystemText(command).c_str());
  KCSignalIf(error != 0, "KCBrokerClient::StartBrokerServer:: system err=%d.\n", error);
  if (error != 0) return false;
  const Locked locked(lock_);
  ++startedServers_;
  return true;
}

void KCBrokerClient::QuitBrokerServer(CFStringRef user) {
  {
    const Locked locked(lock_);
    if (startedServers_ == 0) return;
    --startedServers_;  // whether it can be ended or not
  }
  const std::string process = SystemText(name_);
  const bool sent = perConsoleUser_ ? KCSignalProcessByNameWithConsoleUser(process.c_str(), user, SIGTERM)
                                    : KCSignalProcessByName(process.c_str(), SIGTERM);
  KCSignalIf(!sent, "KCBrokerClient::QuitBrokerServer: kill(SIGTERM) failed\n");
}

void KCBrokerClient::ResetBroker() {
  StCFTypeRef<CFMessagePortRef> port;
  const StCFTypeRef<CFStringRef> user = CopyPortUser();
  const Locked locked(lock_);
  port = std::move(port_);
  if (user != nullptr) CFDictionaryRemoveValue(consolePorts_, user.get());
}

CFMessagePortRef KCBrokerClient::GetMessagePort() const {
  const Locked locked(lock_);
  return port_;
}

void KCBrokerClient::StopBroker() {
  StCFTypeRef<CFMessagePortRef> port;
  const std::vector<StCFTypeRef<CFStringRef>> users = CopyUsers();
  const Locked locked(lock_);
  port = std::move(port_);
  for (const StCFTypeRef<CFStringRef>& user : users) CFDictionaryRemoveValue(consolePorts_, user.get());
}

// A server that has gone has no port any more; one that has come back has another.
StCFTypeRef<CFMessagePortRef> KCBrokerClient::CopyPortOf(CFStringRef user) {
  StCFTypeRef<CFMessagePortRef> port;
  {
    const Locked locked(lock_);
    port =
        Retained(static_cast<CFMessagePortRef>(const_cast<void*>(CFDictionaryGetValue(consolePorts_, user))));
  }
  if (port == nullptr || CFMessagePortIsValid(port)) return port;
  const StCFTypeRef<CFStringRef> portName(CreateBrokerPortName(name_, user));
  port = CreateRemotePort(portName);
  const Locked locked(lock_);
  if (port != nullptr) CFDictionarySetValue(consolePorts_, user, port.get());
  return port;
}

std::vector<StCFTypeRef<CFStringRef>> KCBrokerClient::CopyUsers() const {
  const Locked locked(lock_);
  std::vector<const void*> keys(static_cast<size_t>(CFDictionaryGetCount(consolePorts_)));
  CFDictionaryGetKeysAndValues(consolePorts_, keys.data(), nullptr);
  std::vector<StCFTypeRef<CFStringRef>> users;
  for (const void* key : keys) users.push_back(Retained(static_cast<CFStringRef>(key)));
  return users;
}

// ---- requests

StCFTypeRef<CFMessagePortRef> KCBrokerClient::CopyStartedPort() {
  if (StartBroker() == nullptr) return {};
  const Locked locked(lock_);
  return Retained(port_.get());
}

bool KCBrokerClient::CallProcedure(CFMessagePortRef port, int msgid, CFDataRef data) {
  // Nobody waits for a procedure, so one without a port says nothing; a function does.
  if (port == nullptr) return false;
  const SInt32 error = CFMessagePortSendRequest(port, msgid, data, kSendTimeout, 0, nullptr, nullptr);
  KCSignalIf(error != 0, "KCBrokerClient::CallProcedure:: CFMessagePortSendRequest err=%d.\n", error);
  return error == 0;
}

bool KCBrokerClient::CallProcedure(int msgid, CFDataRef data) {
  return CallProcedure(CopyStartedPort(), msgid, data);
}

CFDataRef KCBrokerClient::CallFunction(CFMessagePortRef port, int msgid, CFDataRef data,
                                       CFTimeInterval receiveTimeout) {
  if (port == nullptr) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "No message port");
    return nullptr;
  }
  CFDataRef reply = nullptr;
  const SInt32 error = CFMessagePortSendRequest(port, msgid, data, kSendTimeout, receiveTimeout,
                                                kCFRunLoopDefaultMode, &reply);
  KCSignalIf(error != 0, "KCBrokerClient::CallFunction:: CFMessagePortSendRequest err=%d.\n", error);
  return reply;
}

CFDataRef KCBrokerClient::CallFunction(int msgid, CFDataRef data, CFTimeInterval receiveTimeout) {
  return CallFunction(CopyStartedPort(), msgid, data, receiveTimeout);
}
