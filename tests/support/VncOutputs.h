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
  // A message of the remote frame-buffer protocol, version 3.8 (RFC 6143), and of its registered extension
  // for screens: all of ours are made of 16-bit words.
  void Send(std::vector<uint16_t> words);

  TemporaryFolder folder_;
  platform::UniqueFd socket_;
};

}  // namespace test
