// A view of the desktop: from the command that starts it to the command that ends it.
#pragma once
#include <string>

#include "broker/Commands.h"
#include "broker/RCZmqBroker.h"

namespace tools {

// Main thread. An end of the program without the destructor leaves the view running.
class View {
 public:
  View() = default;
  ~View() { End(); }
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  // True when a program listens on the command endpoint, an "ipc://" path.
  [[nodiscard]] static bool ObserverListens(const std::string& endpoint);

  // Sends the view start, one of the codes for it. False when the endpoint is not well-formed.
  [[nodiscard]] bool Start(const std::string& endpoint, CommandCode start);
  // Ends the view that was started, if any.
  void End();

  // The view turned out to be another client's: it is not ended.
  void LeaveRunning() { endpoint_.clear(); }

 private:
  RCZmqBrokerClientBase commands_;
  std::string endpoint_;  // of a view that was started
};

}  // namespace tools
