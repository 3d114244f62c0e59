// The observer: a version request, or a session of remote control until the process is told to end.
#include <span>
#include <string_view>

#include "observer/RCOculonApp.h"
#include "observer/VersionRequest.h"
#include "platform/System.h"

namespace {

bool IsLegacy(int argc, const char* argv[]) {
  for (const std::string_view argument : std::span(argv, static_cast<size_t>(argc)).subspan(1))
    if (argument == "-legacy") return true;
  return false;
}

}  // namespace

int main(int argc, const char* argv[]) {
  ProcessVersionNumber(argc, argv, nullptr);
  IsLegacy(argc, argv) ? RCOculonApp::runLegacy() : RCOculonApp::run();
  return NSApplicationMain(argc, argv);
}
