#include "service/remote/Machine.h"

#include <unistd.h>

#include "common/KCPidUtils.h"
#include "common/KCStringUtils.h"
#include "common/StCFTypeRef.h"

namespace remote {

std::string ComputerName() {
  char name[256] = {};
  return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

std::string UserName() {
  const StCFTypeRef<CFStringRef> user(KCCopyConsoleUser());
  const KCStringHelper text(user, kCFStringEncodingUTF8);
  return text.GetCStringPtr() == nullptr ? "" : text.GetCStringPtr();
}

}  // namespace remote
