// What the web server answers: who is let in, and to which page. Knows no sockets.
#pragma once
#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "service/remote/AccessTokens.h"
#include "service/remote/OwnNames.h"
#include "service/remote/Throttles.h"

namespace remote {

// Headers are empty when they are missing, or there more than once.
struct WebRequest {
  std::string_view method = {}, target = {}, body = {};
  std::string_view host = {}, origin = {}, cookie = {};
  bool upgrade = false;  // to a WebSocket
  std::string_view protocols = {};
};

struct WebAnswer {
  unsigned status = 200;
  std::string_view contentType = {}, body = {};  // they live as long as the process
  std::string_view location = {}, allow = {};
  std::string setCookie = {};
  Clock::duration delay = {};  // how long it is held back
  bool upgrade = false;        // instead of all this, the connection becomes a WebSocket
};

inline constexpr std::string_view kViewerProtocol = "kvremote.1";

// One thread.
class Site {
 public:
  // `cookieName` is the service's own: cookies of one machine are shared by all its ports.
  Site(OwnNames names, std::string cookieName, bool secure);

  [[nodiscard]] const std::string& Token() const { return tokens_.Token(); }

  // `peer` is who asks, for the log.
  [[nodiscard]] WebAnswer Answer(const WebRequest& request, std::string_view peer, Clock::time_point now);

  // What every answer says to the browser.
  [[nodiscard]] static std::span<const std::pair<std::string_view, std::string_view>> Headers();

 private:
  [[nodiscard]] WebAnswer Upgrade(const WebRequest& request) const;
  [[nodiscard]] WebAnswer SignIn(std::string_view form, std::string_view peer, Clock::time_point now);
  [[nodiscard]] bool HasCookie(const WebRequest& request) const;

  const AccessTokens tokens_;
  const OwnNames names_;
  const std::string cookieName_;
  const bool secure_;
  SignInDelay delay_;
};

}  // namespace remote
