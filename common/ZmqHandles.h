// Owners for ZeroMQ's contexts, sockets and messages, and its calls that a signal does not end.
#pragma once
#include <zmq.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

// Owns a context. Outlives its sockets; the destructor waits for what they still have to send.
class ZmqContext {
 public:
  ZmqContext() : context_(zmq_ctx_new()) {}
  ~ZmqContext() {
    while (zmq_ctx_destroy(context_) != 0 && zmq_errno() == EINTR) {
    }
  }
  ZmqContext(const ZmqContext&) = delete;
  ZmqContext& operator=(const ZmqContext&) = delete;

  [[nodiscard]] void* Get() const { return context_; }

 private:
  void* context_;
};

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
  // The longest frame that a peer may send.
  bool BoundFrames(int64_t bytes) {
    return zmq_setsockopt(socket_, ZMQ_MAXMSGSIZE, &bytes, sizeof bytes) == 0;
  }

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

// 1 when a message waits, 0 when the time is over or the other end of the pipe `wake` was closed (-1: no such
// pipe), negative when polling failed. A time of -1 waits without limit.
inline int ZmqPollIn(void* socket, int timeoutMs, int wake = -1) {
  using namespace std::chrono;
  const bool limited = timeoutMs >= 0;
  const auto deadline = steady_clock::now() + milliseconds(timeoutMs);
  for (;;) {
    zmq_pollitem_t items[] = {{socket, 0, ZMQ_POLLIN, 0}, {nullptr, wake, ZMQ_POLLIN, 0}};
    const int ready = zmq_poll(items, wake < 0 ? 1 : 2, timeoutMs);
    if (ready >= 0) return (items[0].revents & ZMQ_POLLIN) != 0 ? 1 : 0;
    if (zmq_errno() != EINTR) return ready;
    const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
    if (limited) timeoutMs = static_cast<int>(std::max<int64_t>(left, 0));
  }
}

// Sends one frame. False when it could not be sent.
[[nodiscard]] inline bool ZmqSend(void* socket, std::string_view bytes, int flags) {
  int sent;
  do {
    sent = zmq_send(socket, bytes.data(), bytes.size(), flags);
  } while (sent < 0 && zmq_errno() == EINTR);
  return sent >= 0;
}

// Takes the frames that follow `frame`, which belong to the same message; true when there were any.
inline bool ZmqDropFurtherFrames(void* socket, ZmqMessage& frame) {
  bool dropped = false;
  while (frame.More() && frame.Receive(socket)) dropped = true;
  return dropped;
}
