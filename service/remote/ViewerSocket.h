// A viewer's WebSocket, between the page and the hub.
#pragma once
#include "service/remote/HttpConnection.h"

namespace remote {

// Takes the connection over from its upgrade request on. The stream is Beast's plain or TLS one, the request
// its request of a string. Pings, and ends a connection that is silent, does not read, or floods.
template <class Stream, class Request>
void ServeViewer(WebContext& context, ConnectionSlot slot, Stream stream, Request request, Peer peer);

}  // namespace remote
