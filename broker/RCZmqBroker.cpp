#include "broker/RCZmqBroker.h"

#include <asl.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

#include "broker/Commands.h"
#include "broker/LocalEndpoint.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "common/ZmqHandles.h"
#include "platform/Handles.h"
#include "platform/LocalSocket.h"

namespace {

constexpr int kPollTimeoutMs = 1000;
// What a reply to a client that does not read may delay the end by.
constexpr int kServerLingerMs = 500;
// Commands are a dozen bytes: what a peer may make us hold is bounded, by frame and by frames in the queue.
constexpr int64_t kMaxFrameBytes = 1 << 20;
constexpr int kMaxQueuedFrames = 100;

int BindEndpoint(ZmqSocket& socket, const std::string& endpoint, platform::LocalSocketName& name) {
  if (socket.Get() == nullptr || !socket.SetOption(ZMQ_LINGER, kServerLingerMs) ||
      !socket.SetOption(ZMQ_RCVHWM, kMaxQueuedFrames) || !socket.BoundFrames(kMaxFrameBytes))
    return zmq_errno();
  if (IsLocalEndpoint(endpoint)) return BindLocalEndpoint(socket, endpoint, name);
  return zmq_bind(socket.Get(), endpoint.c_str()) == 0 ? 0 : zmq_errno();
}

CFDataRef CopyFrame(ZmqMessage& frame) {
  return CFDataCreate(kCFAllocatorDefault, static_cast<const UInt8*>(frame.Data()),
                      static_cast<CFIndex>(frame.Size()));
}

std::string_view Bytes(const void* bytes, long length) {
  return {static_cast<const char*>(bytes), static_cast<size_t>(length)};
}

void SendReply(void* socket, CFDataRef reply) {
  const std::string_view bytes =
      reply == nullptr ? std::string_view() : Bytes(CFDataGetBytePtr(reply), CFDataGetLength(reply));
  if (!ZmqSend(socket, bytes, 0))
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerServerBase: failed zmq_send: %s",
              zmq_strerror(zmq_errno()));
}

}  // namespace

// ---- the server

RCZmqBrokerServerBase::RCZmqBrokerServerBase() : context_(zmq_ctx_new()) {}

RCZmqBrokerServerBase::~RCZmqBrokerServerBase() {
  if (thread_.joinable()) thread_.join();
  zmq_ctx_destroy(context_);
}

CFDataRef RCZmqBrokerServerBase::ProcessData(int, CFDataRef) { return nullptr; }

bool RCZmqBrokerServerBase::start(const std::string& endpoint) {
  // The broker thread cannot wait for its own end.
  if (thread_.get_id() == std::this_thread::get_id()) return false;
  stop();
  bool bound;
  {
    Locked locked(mutex_);
    started_ = false;
    stopRequested_ = false;
    endpoint_ = endpoint;
    try {
      // With the lock held, so that the thread finds itself in thread_.
      thread_ = std::thread(&RCZmqBrokerServerBase::process_data_loop, this);
    } catch (const std::system_error& error) {
      ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerServerBase: no thread: %s", error.what());
      return false;
    }
    while (!started_) condition_.Wait(mutex_);
    bound = bound_;
  }
  if (!bound) thread_.join();
  return bound;
}

void RCZmqBrokerServerBase::stop() {
  {
    Locked locked(mutex_);
    stopRequested_ = true;
    bound_ = false;
    condition_.NotifyAll();
  }
  if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
}

void RCZmqBrokerServerBase::stop_thread() {
  Locked locked(mutex_);
  stopRequested_ = true;
  condition_.NotifyAll();
}

bool RCZmqBrokerServerBase::stop_requested() {
  Locked locked(mutex_);
  return stopRequested_;
}

void RCZmqBrokerServerBase::process_data_loop() {
  platform::LocalSocketName name;
  ZmqSocket socket(context_, ZMQ_REP);
  const int error = BindEndpoint(socket, endpoint_, name);
  // Before start() returns: a program that cannot serve ends at once.
  if (error != 0) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerServerBase: failed zmq_bind");
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerServerBase: cannot listen on %s: %s", endpoint_.c_str(),
              zmq_strerror(error));
  }
  {
    Locked locked(mutex_);
    started_ = true;
    bound_ = error == 0;
    condition_.NotifyAll();
  }
  if (error != 0) return;
  serve(socket.Get());
  // Before the socket closes: from then on another file may get its number.
  name.Remove();
}

void RCZmqBrokerServerBase::serve(void* socket) {
  while (!stop_requested()) {
    const int ready = ZmqPollIn(socket, kPollTimeoutMs);
    if (ready < 0) {
      ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerServerBase: failed zmq_poll");
      return;
    }
    if (ready == 0) continue;
    const StCFTypeRef<CFDataRef> reply(process_request(socket));
    SendReply(socket, reply);
  }
}

CFDataRef RCZmqBrokerServerBase::process_request(void* socket) {
  ZmqMessage frame;
  int32_t id = 0;
  bool bad = !frame.Receive(socket) || frame.Size() != sizeof id;
  if (bad)
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerServerBase: failed zmq_msg_recv part1");
  else
    std::memcpy(&id, frame.Data(), sizeof id);

  // Without a second frame there is nothing to wait for.
  if (!frame.More() || !frame.Receive(socket)) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerServerBase: failed zmq_msg_recv part2");
    return nullptr;
  }
  const StCFTypeRef<CFDataRef> payload(frame.Size() > 0 && !bad ? CopyFrame(frame) : nullptr);
  if (ZmqDropFurtherFrames(socket, frame)) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerServerBase: request of more than two frames ignored");
    bad = true;
  }
  return bad ? nullptr : ProcessData(id, payload);
}

// ---- the client

// A waiting request shares it, so that a stop() on another thread does not close it under the poll.
struct RCZmqBrokerClientBase::Connection {
  explicit Connection(void* context) : socket(context, ZMQ_REQ) {
    int ends[2];
    if (pipe(ends) != 0) return;
    interrupted.Reset(ends[0]);
    interrupt.Reset(ends[1]);
    for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  }

  ZmqSocket socket;
  platform::UniqueFd interrupted;  // what a wait for the reply looks at, too
  platform::UniqueFd interrupt;    // closed: nobody wants the reply any more. Under the client's lock
  bool awaitsReply = false;        // under the client's lock
};

RCZmqBrokerClientBase::RCZmqBrokerClientBase() : context_(zmq_ctx_new()) {}

RCZmqBrokerClientBase::~RCZmqBrokerClientBase() {
  stop();
  zmq_ctx_destroy(context_);
}

bool RCZmqBrokerClientBase::start(const std::string& endpoint) {
  Locked locked(mutex_);
  DropConnectionLocked();
  auto connection = std::make_shared<Connection>(context_);
  ZmqSocket& socket = connection->socket;
  if (socket.Get() == nullptr || !socket.SetOption(ZMQ_LINGER, 0) || !socket.BoundFrames(kMaxFrameBytes) ||
      zmq_connect(socket.Get(), endpoint.c_str()) != 0) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerClientBase: failed zmq_connect");
    return false;
  }
  socket_ = std::move(connection);
  peerDown_ = false;
  return true;
}

void RCZmqBrokerClientBase::stop() {
  Locked locked(mutex_);
  DropConnectionLocked();
}

void RCZmqBrokerClientBase::DropConnectionLocked() {
  if (socket_) socket_->interrupt.Reset();
  socket_.reset();
}

CFDataRef RCZmqBrokerClientBase::transfer_request(int messageId, const unsigned char* bytes, long& length) {
  if (bytes == nullptr || length < 1) return nullptr;
  const std::shared_ptr<Connection> connection = SendRequest(messageId, bytes, length);
  if (!connection) return nullptr;
  const bool ready = ZmqPollIn(connection->socket.Get(), replyTimeoutMs_, connection->interrupted.Get()) == 1;
  return ReceiveReply(connection, ready);
}

std::shared_ptr<RCZmqBrokerClientBase::Connection> RCZmqBrokerClientBase::SendRequest(
    int messageId, const unsigned char* bytes, long& length) {
  Locked locked(mutex_);
  if (!socket_ || peerDown_) return nullptr;
  const int32_t id = messageId;
  void* const socket = socket_->socket.Get();
  if (socket_->awaitsReply || !ZmqSend(socket, Bytes(&id, sizeof id), ZMQ_SNDMORE) ||
      !ZmqSend(socket, Bytes(bytes, length), 0)) {
    length = 0;
    return nullptr;
  }
  socket_->awaitsReply = true;
  return socket_;
}

CFDataRef RCZmqBrokerClientBase::ReceiveReply(const std::shared_ptr<Connection>& connection, bool ready) {
  Locked locked(mutex_);
  // A connection made meanwhile has a peer of its own.
  if (connection != socket_) return nullptr;
  if (!ready) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerClientBase: Oculon peer apears to be down\n");
    peerDown_ = true;
    return nullptr;
  }
  ZmqMessage frame;
  if (!frame.Receive(connection->socket.Get(), ZMQ_DONTWAIT)) return nullptr;
  connection->awaitsReply = false;
  CFDataRef reply = frame.Size() > 0 ? CopyFrame(frame) : nullptr;
  ZmqDropFurtherFrames(connection->socket.Get(), frame);
  return reply;
}

CFDataRef RCZmqBrokerClientBase::TransferData(int messageId, CFDataRef data) {
  if (data == nullptr) return nullptr;
  long length = CFDataGetLength(data);
  return transfer_request(messageId, CFDataGetBytePtr(data), length);
}

long RCZmqBrokerClientBase::TransferData(const unsigned char* bytes, long length) {
  const StCFTypeRef<CFDataRef> reply(transfer_request(kCommandMessageId, bytes, length));
  return length;
}
