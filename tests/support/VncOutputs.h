// Plugs and unplugs the outputs of an Xvnc server, which is what its remote viewer may ask for.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/TemporaryFolder.h"

namespace test {

// One thread. Must be made before the server, to which it gives the path of its socket.
class VncOutputs {
 public:
  struct Output {
    uint16_t x, y, width, height;
  };

  // For XServerOptions::extra.
  [[nodiscard]] std::vector<std::string> ServerArguments() const;

  // Asks for a desktop as large as its outputs, the first of which is "VNC-0". Returns when the server has
  // the message, not when it has done it. Throws std::runtime_error when the server does not behave.
  void Set(const std::vector<Output>& outputs);

 private:
  void Connect();
  void Send(const std::vector<uint8_t>& bytes);
  void Receive(size_t bytes, std::vector<uint8_t>* into = nullptr);

  TemporaryFolder folder_;
  platform::UniqueFd socket_;
};

}  // namespace test
