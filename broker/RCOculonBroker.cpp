#include "broker/RCOculonBroker.h"

#include <unistd.h>

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

bool RCOculonServer::StartBroker() {
  SettleRootFolder(CopyBundleFolder());
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
