#include "service/remote/Display.h"

#include <SystemConfiguration/SystemConfiguration.h>

#include <string_view>
#include <thread>

#include "common/KCFolderManager.h"
#include "common/StCFTypeRef.h"
#include "platform/System.h"

namespace remote {

std::string WhyNoDisplay() {
  if (!isStandALone()) {
    const StCFTypeRef<CFStringRef> user(SCDynamicStoreCopyConsoleUser(nullptr, nullptr, nullptr));
    return user.get() == nullptr ? "it is not known who is at the console" : "";
  }
  std::string session;
  // A thread's connection to the display ends with the thread: so this process outlives its server, and finds
  // the next one.
  std::thread([&session] { session = platform::DescribeSession(); }).join();
  constexpr std::string_view kNone = "no display: ";
  return session.starts_with(kNone) ? session.substr(kNone.size()) : std::string();
}

}  // namespace remote
