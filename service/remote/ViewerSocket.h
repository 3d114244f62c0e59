// A viewer's WebSocket, between the page and the hub.
#pragma once
#include "service/remote/HttpConnection.h"

namespace remote {

class BrowserStream;

// Takes the connection over from its upgrade request on, Beast's request of a string. Pings, and ends a
// connection that is silent, does not read, or floods.
template <class Request>
void ServeViewer(WebContext& context, ConnectionSlot slot, BrowserStream stream, Request request, Peer peer);

}  // namespace remote
