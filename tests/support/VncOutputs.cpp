#include "tests/support/VncOutputs.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <stdexcept>

#include "tests/support/ObserverProcess.h"

namespace test {
namespace {

constexpr uint16_t kKey = 4 << 8, kDown = 1, kPointer = 5 << 8;

}  // namespace

std::vector<std::string> VncOutputs::ServerArguments() const { return {"-rfbunixpath", folder_ / "rfb"}; }

void VncOutputs::Set(const std::vector<Output>& outputs) {
  Connect();
  constexpr uint16_t kSetDesktopSize = 251 << 8;
  std::vector<uint16_t> message = {kSetDesktopSize, 0, 0, static_cast<uint16_t>(outputs.size() << 8)};
  uint16_t id = 0;
  for (const auto& [x, y, width, height] : outputs) {
    message.insert(message.end(), {0, id++, x, y, width, height, 0, 0});
    message[1] = std::max<uint16_t>(message[1], x + width);
    message[2] = std::max<uint16_t>(message[2], y + height);
  }
  Send(message);
}

void VncOutputs::Press(uint32_t symbol) {
  Connect();
  Send({kKey | kDown, 0, static_cast<uint16_t>(symbol >> 16), static_cast<uint16_t>(symbol)});
}

void VncOutputs::Type(uint32_t symbol, uint16_t x, uint16_t y) {
  Connect();
  const auto high = static_cast<uint16_t>(symbol >> 16), low = static_cast<uint16_t>(symbol);
  Send({kPointer, x, y, kKey | kDown, 0, high, low, kKey, 0, high, low});
}

void VncOutputs::Connect() {
  if (socket_) return;
  socket_ = ConnectTo(folder_ / "rfb");
  if (!socket_) throw std::runtime_error("no way to the server");
  // "RFB 003.008", no password, others may stay; then one encoding that is understood: -308, the extended
  // desktop size. What the server answers is known, and left unread.
  Send({0x5246, 0x4220, 0x3030, 0x332E, 0x3030, 0x380A, 0x0101, 0x0200, 1, 0xFFFF, 0xFECC});
}

void VncOutputs::Send(std::vector<uint16_t> words) {
  for (uint16_t& word : words) word = htons(word);
  const size_t bytes = words.size() * sizeof words[0];
  if (send(socket_.Get(), words.data(), bytes, MSG_NOSIGNAL) != static_cast<ssize_t>(bytes))
    throw std::runtime_error("the server takes no message");
}

}  // namespace test
