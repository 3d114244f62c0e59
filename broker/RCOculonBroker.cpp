#include "broker/RCOculonBroker.h"

#include <unistd.h>

#include <utility>

#include "broker/RootFolder.h"
#include "common/KCFolderManager.h"
#include "common/KCPidUtils.h"

namespace {

constexpr char kObserverKey[] = "kvobserve";

// The folder that holds the application bundle.
StCFTypeRef<CFURLRef> CopyBundleFolder() {
  const StCFTypeRef<CFURLRef> bundle(CFBundleCopyBundleURL(CFBundleGetMainBundle()));
  return StCFTypeRef<CFURLRef>(CFURLCreateCopyDeletingLastPathComponent(kCFAllocatorDefault, bundle));
}

}  // namespace

RCOculonServer::RCOculonServer() : consoleUser_(KCCopyConsoleUser()) {}

void RCOculonServer::SettleRoot() {
  if (!std::exchange(rootSettled_, true)) SettleRootFolder(CopyBundleFolder());
}

bool RCOculonServer::StartBroker() {
  SettleRoot();
  KCPutPIDForKeyToFileWithConsoleUser(kObserverKey, consoleUser_);
  if (start(FetchFolder(kFolderObserveEndpoint))) return true;
  DeleteOwnPidFile();
  return false;
}

void RCOculonServer::StopBroker() {
  stop();
  DeleteOwnPidFile();
}

void RCOculonServer::DeleteOwnPidFile() const {
  char folder[1024];
  char name[kKCProcessNameSize];
  KCCreateFileDirectoryWithConsoleUser(consoleUser_, folder, sizeof folder);
  if (KCGetProcessNameForPID(getpid(), name) == nullptr) return;
  if (KCGetProcessPIDInFile(folder, kObserverKey, name) == getpid())
    KCDeletePIDForKeyFileWithConsoleUser(kObserverKey, consoleUser_);
}
