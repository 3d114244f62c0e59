#include "tests/service/remote/WebClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstdlib>
#include <stdexcept>

namespace test {

WebClient::WebClient(uint16_t port, Tls tls) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const timeval patience{20, 0};
  setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  setsockopt(socket_.Get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  if (connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    throw std::runtime_error("cannot connect to port " + std::to_string(port));
  if (tls == Tls::kNo) return;
  context_.reset(SSL_CTX_new(TLS_client_method()));
  ssl_.reset(SSL_new(context_.get()));
  SSL_set_fd(ssl_.get(), socket_.Get());
  if (SSL_connect(ssl_.get()) != 1) throw std::runtime_error("no TLS at port " + std::to_string(port));
}

bool WebClient::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ssl_ ? SSL_write(ssl_.get(), bytes.data(), static_cast<int>(bytes.size()))
                              : send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(sent));
  }
  return true;
}

bool WebClient::Receive() {
  char bytes[4096];
  const ssize_t got =
      ssl_ ? SSL_read(ssl_.get(), bytes, sizeof bytes) : recv(socket_.Get(), bytes, sizeof bytes, 0);
  if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) throw std::runtime_error("nothing came");
  if (got > 0) received_.append(bytes, static_cast<size_t>(got));
  return got > 0;
}

std::string WebClient::ReadAll() {
  while (Receive()) {
  }
  return std::move(received_);
}

std::string WebClient::ReadAnswer() {
  size_t head = 0;
  while ((head = received_.find("\r\n\r\n")) == std::string::npos) {
    if (!Receive()) return std::move(received_);
  }
  constexpr std::string_view kLength = "Content-Length: ";
  const size_t length = received_.find(kLength);
  const size_t body =
      length < head ? std::strtoul(received_.c_str() + length + kLength.size(), nullptr, 10) : 0;
  const size_t total = head + 4 + body;
  while (received_.size() < total && Receive()) {
  }
  const std::string answer = received_.substr(0, total);
  received_.erase(0, total);
  return answer;
}

bool WebClient::SendFrame(uint8_t opcode, std::string_view payload) {
  const auto length = static_cast<uint16_t>(payload.size());
  std::string frame = {static_cast<char>(0x80 | opcode),
                       static_cast<char>(0x80 | (length < 126 ? length : 126))};
  if (length >= 126) frame += {static_cast<char>(length >> 8), static_cast<char>(length)};
  frame += std::string(4, '\0');  // a mask that changes nothing
  return Send(frame.append(payload));
}

std::optional<WebClient::Frame> WebClient::ReadFrame() {
  for (;;) {
    size_t header = 2;
    size_t length = 0;
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(received_[i]); };
    const auto whole = [&] {
      if (received_.size() < 2) return false;
      length = byte(1);
      header = length == 126 ? 4 : length == 127 ? 10 : 2;
      if (received_.size() < header) return false;
      if (header > 2) length = 0;
      for (size_t i = 2; i < header; ++i) length = length << 8 | byte(i);
      return received_.size() >= header + length;
    };
    while (!whole()) {
      if (!Receive()) return std::nullopt;
    }
    Frame frame{static_cast<uint8_t>(byte(0) & 15), received_.substr(header, length)};
    received_.erase(0, header + length);
    if (frame.opcode != kPing) return frame;
  }
}

unsigned WebClient::Frame::CloseCode() const {
  if (opcode != kClose || payload.size() < 2) return 0;
  return static_cast<unsigned>(static_cast<uint8_t>(payload[0]) << 8 | static_cast<uint8_t>(payload[1]));
}

}  // namespace test
