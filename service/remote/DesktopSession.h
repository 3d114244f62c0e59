// The desktop of this machine, shown to viewers: starts and watches the observer, asks it for the screen, and
// brings what viewers do to it.
#pragma once
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "service/remote/ViewerHub.h"

namespace remote {

struct SessionOptions {
  bool viewOnly = false;          // nobody controls
  bool legacy = false;            // the observer's tile stream in place of its shared screen
  std::string observerPath = {};  // the bundle's folder; empty: the installation's own
  std::optional<std::chrono::milliseconds> idle = {};  // without input; 0 never; none: the preference
  size_t maxViewers = 8;

  // How long things take; tests shorten them.
  std::chrono::milliseconds linger = std::chrono::seconds(5);        // the observer's, after the last viewer
  std::chrono::milliseconds answerLimit = std::chrono::seconds(30);  // a person's, to a question
  std::chrono::milliseconds askAgainAfter = std::chrono::seconds(60);  // the user who has not allowed it
  std::chrono::milliseconds preferencesEvery = std::chrono::seconds(3);
};

// Settles the agent's root folder for that observer, else for this program: log, sockets and process-ID files
// are the observer's. Comes before anything is looked up or logged.
void SettleFolders(const std::string& observerPath);

// Start() and Stop() on the main thread, whose run loop serves the service's message port. The viewers' calls
// on any, and from Start() to Stop() only.
class DesktopSession : public ViewerHub {
 public:
  explicit DesktopSession(SessionOptions options);
  // Stops it.
  ~DesktopSession() override;
  DesktopSession(const DesktopSession&) = delete;
  DesktopSession& operator=(const DesktopSession&) = delete;

  // Empty, or why there is no session to be had: another service has the message port, or there is no
  // observer at the path.
  [[nodiscard]] std::string Start();
  // Ends the view, and the observer with it. Waits for that, some seconds at most.
  void Stop();

  [[nodiscard]] ViewerId Join(std::shared_ptr<ViewerChannel> channel, std::string address,
                              bool local) override;
  void Leave(ViewerId viewer) override;
  [[nodiscard]] bool TakeText(ViewerId viewer, std::string_view json) override;
  [[nodiscard]] bool TakeBinary(ViewerId viewer, std::span<const uint8_t> message) override;

 private:
  class Core;
  const std::unique_ptr<Core> core_;
};

}  // namespace remote
