#include "service/remote/DesktopSession.h"

#include <utility>

#include "broker/RootFolder.h"
#include "common/StCFTypeRef.h"

namespace remote {

void SettleFolders(const std::string&) {
  SettleRootFolder(StCFTypeRef<CFURLRef>(CFBundleCopyBundleURL(CFBundleGetMainBundle())));
}

class DesktopSession::Core {};

DesktopSession::DesktopSession(SessionOptions) : core_(std::make_unique<Core>()) {}
DesktopSession::~DesktopSession() = default;

std::string DesktopSession::Start() { return {}; }
void DesktopSession::Stop() {}

ViewerId DesktopSession::Join(std::shared_ptr<ViewerChannel>, std::string, bool) { return 1; }
void DesktopSession::Leave(ViewerId) {}
bool DesktopSession::TakeText(ViewerId, std::string_view) { return true; }
bool DesktopSession::TakeBinary(ViewerId, std::span<const uint8_t>) { return true; }

}  // namespace remote
