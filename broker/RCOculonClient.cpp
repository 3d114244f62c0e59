#include "broker/RCOculonClient.h"

#include <SystemConfiguration/SystemConfiguration.h>
#include <asl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <string>
#include <utility>

#include "broker/Commands.h"
#include "broker/LocalEndpoint.h"
#include "common/KCDispatch.h"
#include "common/KCFolderManager.h"
#include "common/KCPidUtils.h"
#include "common/KCSecurityUtils.h"
#include "common/KCasl.h"

namespace {

constexpr char kObserverName[] = "kvobserve";

// The commands that are forwarded, and what the client does besides.
enum class Action { kNone, kCache, kCacheAndStart, kStop };
struct ForwardedCommand {
  CommandCode code;
  long minLength;
  Action action;
};
constexpr ForwardedCommand kForwardedCommands[] = {
    {CMD_VIEW_END, 4, Action::kStop},       {CMD_VIEW_MOUSEEVENT, 8, Action::kNone},
    {CMD_VIEW_KBDEVENT, 9, Action::kNone},  {CMD_VIEW_ASCII_KBDEVENT, 11, Action::kNone},
    {CMD_VIEW_SETTINGS, 8, Action::kCache}, {CMD_VIEW_START_HTML5, 8, Action::kCacheAndStart}};

const ForwardedCommand* FindCommand(unsigned char code) {
  const auto* const found =
      std::find_if(std::begin(kForwardedCommands), std::end(kForwardedCommands),
                   [code](const ForwardedCommand& command) { return command.code == code; });
  return found != std::end(kForwardedCommands) ? found : nullptr;
}

KVLaunchContext ContextOf(CFStringRef consoleUser) {
  const bool nobody = consoleUser == nullptr || CFEqual(consoleUser, CFSTR("loginwindow"));
  return nobody ? kKVLaunchContextLogin : kKVLaunchContextUsr;
}

// False when the command does not fit, or the launch failed.
bool LaunchObserver(CFStringRef consoleUser, const std::string& executable) {
  if (!executable.empty()) return KCExecuteWithPrivileges(executable.c_str()) == 0;
  char command[1024];
  const char* const folder = FetchFolder(kFolderBin);
  // The dispatcher knows the open tool by this relative path: its leading slash is left out on purpose.
  const int length =
      isStandALone()
          ? std::snprintf(command, sizeof command, "%s/kvobserve.app/Contents/MacOS/kvobserve", folder)
          : std::snprintf(command, sizeof command, "usr/bin/open \"%s/kvobserve.app\"", folder);
  if (length < 0 || static_cast<size_t>(length) >= sizeof command) return false;
  return (isStandALone() ? KCExecuteWithPrivileges(command) : KCLaunch(command, ContextOf(consoleUser))) == 0;
}

// An observer that was killed leaves its sockets' names, and in a folder where everybody keeps his own only
// their owner or root can remove them. Without the old names, a command reaches the new observer or nobody:
// never one that is just ending.
void RemoveOldSockets() {
  for (const std::string& path : {PathOfEndpoint(FetchFolder(kFolderObserveEndpoint)),
                                  std::string(FetchFolder(kFolderScreenIPCSocket))}) {
    struct stat found {};
    if (lstat(path.c_str(), &found) == 0 && S_ISSOCK(found.st_mode)) unlink(path.c_str());
  }
}

}  // namespace

bool RCOculonClient::start_observer() {
  const Locked starting(startLock_);
  return StartLocked();
}

void RCOculonClient::stop_observer() {
  const Locked stopping(startLock_);
  StopLocked();
}

bool RCOculonClient::restart_observer() {
  const Locked restarting(startLock_);
  StopLocked();
  return StartLocked();
}

bool RCOculonClient::StartLocked() {
  if (IsStarted()) return true;
  consoleUser_ = StCFTypeRef<CFStringRef>(SCDynamicStoreCopyConsoleUser(nullptr, nullptr, nullptr));
  RemoveOldSockets();
  if (!LaunchObserver(consoleUser_, executable_)) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCOculonClient: failed to start observer process.\n");
    return false;
  }
  if (!start(FetchFolder(kFolderObserveEndpoint))) return false;
  const Locked locked(lock_);
  started_ = true;
  ASLLogger(ASL_LEVEL_INFO, 1, true, "RCOculonClient: observer started");
  return true;
}

void RCOculonClient::StopLocked() {
  stop();
  if (consoleUser_ == nullptr || !KCSignalProcessByNameWithConsoleUser(kObserverName, consoleUser_, SIGTERM))
    KCSignalProcessByName(kObserverName, SIGTERM);
  const Locked locked(lock_);
  started_ = false;
  ASLLogger(ASL_LEVEL_INFO, 1, true, "RCOculonClient: observer stopped");
}

bool RCOculonClient::IsStarted() {
  const Locked locked(lock_);
  return started_;
}

void RCOculonClient::RestartObserver() {
  if (!restart_observer()) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCOculonClient: failed to restart observer.\n");
    return;
  }
  StCFTypeRef<CFDataRef> settings;
  {
    const Locked locked(lock_);
    if (viewSettings_ != nullptr)
      settings = StCFTypeRef<CFDataRef>(static_cast<CFDataRef>(CFRetain(viewSettings_)));
  }
  if (settings != nullptr)
    RCZmqBrokerClientBase::TransferData(CFDataGetBytePtr(settings), CFDataGetLength(settings));
}

long RCOculonClient::TransferData(const unsigned char* bytes, long length) {
  if (bytes == nullptr || length < 1) return 0;
  const ForwardedCommand* const command = FindCommand(bytes[0]);
  if (command == nullptr) return 0;

  long result = command->minLength;
  if (length >= command->minLength) {
    if (command->action == Action::kCache || command->action == Action::kCacheAndStart)
      cache_view_info(bytes, length);
    if (command->action == Action::kCacheAndStart) start_observer();
    if (IsStarted()) result = RCZmqBrokerClientBase::TransferData(bytes, length);
  }
  // Also after one that was too short: whoever ends a view must not leave an observer behind.
  if (command->action == Action::kStop) stop_observer();
  return result;
}

void RCOculonClient::cache_view_info(const unsigned char* bytes, long length) {
  StCFTypeRef<CFDataRef> settings(CFDataCreate(kCFAllocatorDefault, bytes, length));
  const Locked locked(lock_);
  viewSettings_ = std::move(settings);
}
