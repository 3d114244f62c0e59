// The message port of the remote-control service, served in its place.
#pragma once
#include <cstdint>
#include <functional>
#include <span>
#include <thread>

#include "broker/KCBroker.h"

namespace tools {

// Start() once; the destructor on the same thread.
class ServicePort : private KCBrokerServer {
 public:
  // Takes what is sent for the viewer, on the port's own thread; borrowed for the call.
  using Receiver = std::function<void(std::span<const uint8_t>)>;

  explicit ServicePort(Receiver receiver);
  ~ServicePort() override;

  // False when the port's name is taken.
  [[nodiscard]] bool Start();

 private:
  CFDataRef ProcessData(int msgid, CFDataRef data) override;

  const Receiver receiver_;
  std::thread thread_;
};

}  // namespace tools
