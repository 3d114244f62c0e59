// One connection of a browser: requests and answers, until it ends or becomes a WebSocket.
#pragma once
#include <string>

#include "platform/Handles.h"
#include "service/remote/WebContext.h"

struct ssl_ctx_st;

namespace remote {

// Who is at the other end.
struct Peer {
  std::string host;    // its address
  std::string name;    // address and port, for the log
  bool local = false;  // over loopback
  bool ipv6 = false;
};

// Serves a connected socket from now on. `tls` is borrowed; null for plain http.
void ServeBrowser(boost::asio::io_context& io, WebContext& context, platform::UniqueFd socket, Peer peer,
                  ssl_ctx_st* tls);

}  // namespace remote
