// Owners for ZeroMQ's sockets and messages.
#pragma once
#include <zmq.h>

#include <cerrno>
#include <cstddef>

// Owns a socket. One thread at a time; passing it on to another thread needs a lock in between.
class ZmqSocket {
 public:
  ZmqSocket(void* context, int type) : socket_(zmq_socket(context, type)) {}
  ~ZmqSocket() {
    if (socket_ != nullptr) zmq_close(socket_);
  }
  ZmqSocket(const ZmqSocket&) = delete;
  ZmqSocket& operator=(const ZmqSocket&) = delete;

  // Null when the context had no room for one more.
  [[nodiscard]] void* Get() const { return socket_; }

  bool SetOption(int option, int value) { return zmq_setsockopt(socket_, option, &value, sizeof value) == 0; }

 private:
  void* socket_;
};

// One received frame.
class ZmqMessage {
 public:
  ZmqMessage() { zmq_msg_init(&message_); }
  ~ZmqMessage() { zmq_msg_close(&message_); }
  ZmqMessage(const ZmqMessage&) = delete;
  ZmqMessage& operator=(const ZmqMessage&) = delete;

  // Replaces what it holds. False when nothing could be received.
  [[nodiscard]] bool Receive(void* socket, int flags = 0) {
    int size;
    do {
      size = zmq_msg_recv(&message_, socket, flags);
    } while (size < 0 && zmq_errno() == EINTR);
    return size >= 0;
  }

  [[nodiscard]] const void* Data() { return zmq_msg_data(&message_); }
  [[nodiscard]] size_t Size() const { return zmq_msg_size(&message_); }
  // Another frame of the same request or reply follows.
  [[nodiscard]] bool More() const { return zmq_msg_more(&message_) != 0; }

 private:
  zmq_msg_t message_;
};
