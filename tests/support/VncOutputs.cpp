#include "tests/support/VncOutputs.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "platform/System.h"

namespace test {
namespace {

// Numbers of the remote frame-buffer protocol, version 3.8 (RFC 6143), and of its registered extension for
// screens.
constexpr uint8_t kSetEncodings = 2;
constexpr uint8_t kSetDesktopSize = 251;
constexpr uint32_t kExtendedDesktopSize = static_cast<uint32_t>(-308);

void Put16(std::vector<uint8_t>& message, uint32_t value) {
  message.push_back(static_cast<uint8_t>(value >> 8));
  message.push_back(static_cast<uint8_t>(value));
}

void Put32(std::vector<uint8_t>& message, uint32_t value) {
  Put16(message, value >> 16);
  Put16(message, value);
}

}  // namespace

std::vector<std::string> VncOutputs::ServerArguments() const { return {"-rfbunixpath", folder_ / "rfb"}; }

void VncOutputs::Set(const std::vector<Output>& outputs) {
  if (!socket_) Connect();
  uint32_t width = 0;
  uint32_t height = 0;
  for (const Output& output : outputs) {
    width = std::max<uint32_t>(width, output.x + output.width);
    height = std::max<uint32_t>(height, output.y + output.height);
  }
  std::vector<uint8_t> message = {kSetDesktopSize, 0};
  Put16(message, width);
  Put16(message, height);
  message.push_back(static_cast<uint8_t>(outputs.size()));
  message.push_back(0);
  uint32_t id = 0;
  for (const Output& output : outputs) {
    Put32(message, id++);
    Put16(message, output.x);
    Put16(message, output.y);
    Put16(message, output.width);
    Put16(message, output.height);
    Put32(message, 0);
  }
  Send(message);
}

void VncOutputs::Connect() {
  sockaddr_storage address{};
  const socklen_t length = platform::MakeLocalAddress(folder_ / "rfb", address);
  socket_.Reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) {
    throw std::runtime_error("no way to the server's outputs");
  }
  constexpr size_t kVersionLength = 12;
  std::vector<uint8_t> version;
  Receive(kVersionLength, &version);
  Send(version);
  std::vector<uint8_t> kinds;
  Receive(1, &kinds);
  Receive(kinds[0]);
  Send({1});   // no password
  Receive(4);  // accepted
  Send({1});   // others may stay
  std::vector<uint8_t> screen;
  Receive(24, &screen);  // size, pixel layout, length of the name
  Receive(screen[22] * size_t{256} + screen[23]);
  std::vector<uint8_t> encodings = {kSetEncodings, 0};
  Put16(encodings, 1);
  Put32(encodings, kExtendedDesktopSize);
  Send(encodings);
}

void VncOutputs::Send(const std::vector<uint8_t>& bytes) {
  const ssize_t sent = send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (sent != static_cast<ssize_t>(bytes.size())) throw std::runtime_error("the server takes no message");
}

void VncOutputs::Receive(size_t bytes, std::vector<uint8_t>* into) {
  std::vector<uint8_t> received(bytes);
  const ssize_t got = recv(socket_.Get(), received.data(), bytes, MSG_WAITALL);
  if (got != static_cast<ssize_t>(bytes)) throw std::runtime_error("the server said too little");
  if (into != nullptr) *into = received;
}

}  // namespace test
