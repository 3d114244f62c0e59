// The service's message port, by which the agent's other programs reach it.
#pragma once
#include <cstdint>
#include <functional>
#include <span>

#include "broker/KCBroker.h"

namespace remote {

class RemotePort : public KCBrokerServer {
 public:
  // Called on the thread of the run loop.
  struct Events {
    std::function<void(int x, int y)> pointer;  // desktop coordinates, as the observer reports them
    std::function<void(uint8_t layout)> layout;
    std::function<void(std::span<const uint8_t> message)> tiles;  // a piece of the tile stream, borrowed
    std::function<bool()> hasSession;
    std::function<void()> restart;
    std::function<void()> end;
  };

  explicit RemotePort(Events events);

  CFDataRef ProcessData(int msgid, CFDataRef data) override;

 private:
  void TakeRecord(CFDataRef data);
  void TakeStatus(std::span<const uint8_t> record);

  const Events events_;
};

}  // namespace remote
