#include "broker/RootFolder.h"

#include <asl.h>

#include "common/KCFolderManager.h"
#include "common/KCasl.h"

namespace {

constexpr CFIndex kMaxPathBytes = 1024;

bool IsNamed(CFURLRef folder, CFStringRef name) {
  const StCFTypeRef<CFStringRef> last(CFURLCopyLastPathComponent(folder));
  return last.get() != nullptr && CFStringCompare(last, name, 0) == kCFCompareEqualTo;
}

}  // namespace

StCFTypeRef<CFURLRef> CopyStandAloneRoot(CFURLRef folder) {
  if (!IsNamed(folder, CFSTR("bin"))) return StCFTypeRef<CFURLRef>(static_cast<CFURLRef>(CFRetain(folder)));
  StCFTypeRef<CFURLRef> above(CFURLCreateCopyDeletingLastPathComponent(kCFAllocatorDefault, folder));
  if (IsNamed(above, CFSTR("Korvane"))) return {};
  return above;
}

void SettleRootFolder(CFURLRef folder) {
  const StCFTypeRef<CFURLRef> root = CopyStandAloneRoot(folder);
  if (root.get() == nullptr) return;
  UInt8 bytes[kMaxPathBytes];
  if (!CFURLGetFileSystemRepresentation(root, true, bytes, sizeof bytes)) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RootFolder: the path of the root folder is longer than %d bytes\n",
              static_cast<int>(kMaxPathBytes));
    return;
  }
  const char* const path = reinterpret_cast<const char*>(bytes);
  SetRootFolder(path);
  ASLLogger(ASL_LEVEL_INFO, 1, true, "Setting root path to  %s", path);
}
