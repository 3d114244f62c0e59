// The way to one viewer's page.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace remote {

// Any thread. Nothing here waits; after the connection's end, nothing happens.
class ViewerChannel {
 public:
  virtual ~ViewerChannel() = default;

  // A JSON message.
  virtual void SendText(std::string json) = 0;
  // A binary message. Not called again before the page has answered it.
  virtual void SendUpdate(std::vector<uint8_t> message) = 0;
  // Ends the connection, with a WebSocket close code and a reason of at most 123 bytes.
  virtual void Close(uint16_t code, std::string reason) = 0;
};

}  // namespace remote
