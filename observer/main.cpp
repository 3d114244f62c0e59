// The observer: a version request, or a session of remote control until the process is told to end.
#include "observer/RCOculonApp.h"
#include "observer/VersionRequest.h"
#include "platform/System.h"

int main(int argc, const char* argv[]) {
  ProcessVersionNumber(argc, argv, nullptr);
  RCOculonApp::run();
  return NSApplicationMain(argc, argv);
}
