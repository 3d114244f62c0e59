// A browser's end of a connection, byte by byte: what no browser sends can be sent, too.
#pragma once
#include <openssl/ssl.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Handles.h"

namespace test {

enum class Tls { kNo, kYes };

// Connects to 127.0.0.1. Reads wait for 20 s at most. Any thread, one at a time.
class WebClient {
 public:
  // Throws when nobody listens. With TLS any certificate will do.
  explicit WebClient(uint16_t port, Tls tls = Tls::kNo);

  // False when the other end has gone.
  bool Send(std::string_view bytes);
  // What comes until the end of the connection.
  [[nodiscard]] std::string ReadAll();
  // One answer: its head, and as much of a body as the head says.
  [[nodiscard]] std::string ReadAnswer();

  // A frame as a browser sends it, of less than 64 KiB.
  bool SendFrame(uint8_t opcode, std::string_view payload);

  struct Frame {
    uint8_t opcode = 0;
    std::string payload;
    // Of a frame that closes; 0 when it says none.
    [[nodiscard]] unsigned CloseCode() const;
  };
  // The next one that is no ping; nothing at the end of the connection.
  [[nodiscard]] std::optional<Frame> ReadFrame();

  static constexpr uint8_t kText = 1, kBinary = 2, kClose = 8, kPing = 9, kPong = 10;

 private:
  // Appends what comes next; false at the end.
  bool Receive();

  struct SslDeleter {
    void operator()(SSL* ssl) const noexcept { SSL_free(ssl); }
    void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
  };

  platform::UniqueFd socket_;
  std::unique_ptr<SSL_CTX, SslDeleter> context_;
  std::unique_ptr<SSL, SslDeleter> ssl_;
  std::string received_;
};

}  // namespace test
