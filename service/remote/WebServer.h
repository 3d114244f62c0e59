// Serves the page and its WebSocket: http or https, one address, one port.
#pragma once
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "service/remote/ViewerHub.h"

namespace remote {

// What a browser may take; tests shorten the times.
struct WebLimits {
  size_t connections = 64;                      // more are closed at once
  std::chrono::milliseconds request{10'000};    // for a request, or an idle connection, or a handshake
  std::chrono::milliseconds pingEvery{10'000};  // on a WebSocket
  std::chrono::milliseconds silence{30'000};    // without an answer, or with a message that is not taken
  std::chrono::milliseconds goodbye{1'000};     // for viewers to go when the server stops
  unsigned messagesPerSecond = 2000;            // of one viewer
  size_t waitingBytes = 256 * 1024;             // text that one viewer has not taken yet
};

struct WebSettings {
  std::string address = "127.0.0.1";  // an IP address
  uint16_t port = 0;                  // 0: a free one
  std::string certificateFile = {};   // both or none; https with them
  std::string keyFile = {};
  WebLimits limits = {};
};

[[nodiscard]] bool IsIpAddress(const std::string& text);
// An IP address that only this machine reaches.
[[nodiscard]] bool IsLoopback(const std::string& address);

// Start() and Stop() on one thread. Has one thread of its own, on which it calls the hub.
class WebServer {
 public:
  // The hub lives longer.
  WebServer(WebSettings settings, ViewerHub& hub);
  // Stops it.
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  // Empty, or why it cannot serve, in words. Once.
  [[nodiscard]] std::string Start();
  // Ends all connections; viewers are told with close code 1001. The hub is not called any more.
  void Stop();

  [[nodiscard]] uint16_t Port() const;
  // What a person opens, with the token in it. After Start().
  [[nodiscard]] std::string Address() const;

 private:
  class Core;
  std::unique_ptr<Core> core_;
};

}  // namespace remote
