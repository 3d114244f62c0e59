// The remote viewer of an Xvnc server, who plugs and unplugs its outputs and has its keyboard and pointer.
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

  // Presses a key and holds it.
  void Press(uint32_t symbol);
  // Presses and releases the key of a symbol, with the pointer moved there first. To the server these are its
  // machine's own devices. Returns like Set().
  void Type(uint32_t symbol, uint16_t x, uint16_t y);

 private:
  void Connect();
  // A message of the remote frame-buffer protocol, version 3.8 (RFC 6143), and of its registered extension
  // for screens: all of ours are made of 16-bit words.
  void Send(std::vector<uint16_t> words);

  TemporaryFolder folder_;
  platform::UniqueFd socket_;
};

}  // namespace test
