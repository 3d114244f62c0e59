// An observer for the tile viewer whose session can be switched by order, and which has less patience with a
// service that is away: OrderedObserver MILLISECONDS FIFO [loginwindow]. Orders are words in the pipe of that
// name.
#include <Carbon/Carbon.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "observer/RCOculon.h"
#include "observer/RCOculonApp.h"
#include "platform/System.h"

namespace {

void PostSessionEvent(UInt32 kind) {
  EventRef event = nullptr;
  CreateEvent(kCFAllocatorDefault, kEventClassSystem, kind, 0, kEventAttributeNone, &event);
  PostEventToQueue(GetMainEventQueue(), event, kEventPriorityStandard);
  ReleaseEvent(event);
}

void TakeOrders(const char* fifo) {
  std::ifstream orders(fifo);
  for (std::string order; orders >> order;) {
    if (order == "activate") PostSessionEvent(kEventSystemUserSessionActivated);
    if (order == "deactivate") PostSessionEvent(kEventSystemUserSessionDeactivated);
    if (order == "quit") platform::PostQuitEvent();
    if (order == "abort") std::abort();
  }
}

}  // namespace

int main(int argc, const char* argv[]) {
  const std::string display = std::getenv("DISPLAY");
  // Nobody is at a console that has no display.
  if (argc > 3) unsetenv("DISPLAY");
  static_cast<void>(RCOculon::GetOculon(std::chrono::milliseconds(std::atoi(argv[1]))));
  setenv("DISPLAY", display.c_str(), 1);
  RCOculonApp::runLegacy();
  std::thread(TakeOrders, argv[2]).detach();
  return NSApplicationMain(argc, argv);
}
