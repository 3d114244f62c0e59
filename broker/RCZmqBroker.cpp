#include "broker/RCZmqBroker.h"

#include <asl.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <system_error>
#include <tuple>
#include <utility>

#include "broker/Commands.h"
#include "broker/ZmqHandles.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "platform/Handles.h"
#include "platform/LocalSocket.h"

namespace {

constexpr int kPollTimeoutMs = 1000;
// What a reply to a client that does not read may delay the end by.
constexpr int kServerLingerMs = 500;
// Commands are a dozen bytes: what a peer may make us hold is bounded, by frame and by frames in the queue.
constexpr int64_t kMaxFrameBytes = 1 << 20;
constexpr int kMaxQueuedFrames = 100;
constexpr int kListenBacklog = 100;
constexpr char kIpcPrefix[] = "ipc://";

bool BoundFrameSize(void* socket) {
  return zmq_setsockopt(socket, ZMQ_MAXMSGSIZE, &kMaxFrameBytes, sizeof kMaxFrameBytes) == 0;
}

platform::UniqueFd MakeListener() {
  platform::UniqueFd listener(socket(AF_UNIX, SOCK_STREAM, 0));
  if (listener) {
    fcntl(listener.Get(), F_SETFD, FD_CLOEXEC);
    fcntl(listener.Get(), F_SETFL, O_NONBLOCK);
  }
  return listener;
}

// ZeroMQ would make the socket with the process's mask, and on closing remove the name whoever has it by
// then; so the listening socket is made here and handed over. 0 or an errno value.
int BindLocal(ZmqSocket& socket, const std::string& endpoint, platform::LocalSocketName& name) {
  platform::UniqueFd listener = MakeListener();
  if (!listener) return errno;
  if (const int error = name.Bind(listener.Get(), endpoint.substr(sizeof kIpcPrefix - 1))) return error;
  if (listen(listener.Get(), kListenBacklog) != 0 || !socket.SetOption(ZMQ_USE_FD, listener.Get()) ||
      zmq_bind(socket.Get(), endpoint.c_str()) != 0) {
    const int error = errno;
    name.Remove();
    return error;
  }
  std::ignore = listener.Release();  // ZeroMQ closes it
  return 0;
}

int BindEndpoint(ZmqSocket& socket, const std::string& endpoint, platform::LocalSocketName& name) {
  if (socket.Get() == nullptr || !socket.SetOption(ZMQ_LINGER, kServerLingerMs) ||
      !socket.SetOption(ZMQ_RCVHWM, kMaxQueuedFrames) || !BoundFrameSize(socket.Get()))
    return zmq_errno();
  if (endpoint.starts_with(kIpcPrefix)) return BindLocal(socket, endpoint, name);
  return zmq_bind(socket.Get(), endpoint.c_str()) == 0 ? 0 : zmq_errno();
}

// 1 when a message waits, 0 when the time is over, negative when polling failed; a signal is no failure.
int PollIn(void* socket, int timeoutMs) {
  using namespace std::chrono;
  const auto deadline = steady_clock::now() + milliseconds(timeoutMs);
  for (;;) {
    zmq_pollitem_t item{socket, 0, ZMQ_POLLIN, 0};
    const int ready = zmq_poll(&item, 1, timeoutMs);
    if (ready >= 0 || zmq_errno() != EINTR) return ready;
    const auto left = duration_cast<milliseconds>(deadline - steady_clock::now()).count();
    timeoutMs = static_cast<int>(std::max<int64_t>(left, 0));
  }
}

bool Send(void* socket, const void* bytes, size_t length, int flags) {
  int sent;
  do {
    sent = zmq_send(socket, bytes, length, flags);
  } while (sent < 0 && zmq_errno() == EINTR);
  return sent >= 0;
}

// Takes the frames that follow `frame`, which belong to the same request or reply; true when there were any.
bool DropFurtherFrames(void* socket, ZmqMessage& frame) {
  bool dropped = false;
  while (frame.More() && frame.Receive(socket)) dropped = true;
  return dropped;
}

CFDataRef CopyFrame(ZmqMessage& frame) {
  return CFDataCreate(kCFAllocatorDefault, static_cast<const UInt8*>(frame.Data()),
                      static_cast<CFIndex>(frame.Size()));
}

void SendReply(void* socket, CFDataRef reply) {
  const bool sent = reply == nullptr ? Send(socket, "", 0, 0)
                                     : Send(socket, CFDataGetBytePtr(reply),
                                            static_cast<size_t>(CFDataGetLength(reply)), 0);
  if (!sent)
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
    const int ready = PollIn(socket, kPollTimeoutMs);
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
  if (DropFurtherFrames(socket, frame)) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerServerBase: request of more than two frames ignored");
    bad = true;
  }
  return bad ? nullptr : ProcessData(id, payload);
}

// ---- the client

// A waiting request shares it, so that a stop() on another thread does not close it under the poll.
struct RCZmqBrokerClientBase::Connection {
  explicit Connection(void* context) : socket(context, ZMQ_REQ) {}

  ZmqSocket socket;
  bool awaitsReply = false;  // under the client's lock
};

RCZmqBrokerClientBase::RCZmqBrokerClientBase() : context_(zmq_ctx_new()) {}

RCZmqBrokerClientBase::~RCZmqBrokerClientBase() {
  stop();
  zmq_ctx_destroy(context_);
}

bool RCZmqBrokerClientBase::start(const std::string& endpoint) {
  Locked locked(mutex_);
  socket_.reset();
  auto connection = std::make_shared<Connection>(context_);
  ZmqSocket& socket = connection->socket;
  if (socket.Get() == nullptr || !socket.SetOption(ZMQ_LINGER, 0) || !BoundFrameSize(socket.Get()) ||
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
  socket_.reset();
}

CFDataRef RCZmqBrokerClientBase::transfer_request(int messageId, const unsigned char* bytes, long& length) {
  if (bytes == nullptr || length < 1) return nullptr;
  const std::shared_ptr<Connection> connection = SendRequest(messageId, bytes, length);
  if (!connection) return nullptr;
  const bool ready = PollIn(connection->socket.Get(), replyTimeoutMs_) == 1;
  return ReceiveReply(connection, ready);
}

std::shared_ptr<RCZmqBrokerClientBase::Connection> RCZmqBrokerClientBase::SendRequest(
    int messageId, const unsigned char* bytes, long& length) {
  Locked locked(mutex_);
  if (!socket_ || peerDown_) return nullptr;
  const int32_t id = messageId;
  void* const socket = socket_->socket.Get();
  if (socket_->awaitsReply || !Send(socket, &id, sizeof id, ZMQ_SNDMORE) ||
      !Send(socket, bytes, static_cast<size_t>(length), 0)) {
    length = 0;
    return nullptr;
  }
  socket_->awaitsReply = true;
  return socket_;
}

CFDataRef RCZmqBrokerClientBase::ReceiveReply(const std::shared_ptr<Connection>& connection, bool ready) {
  Locked locked(mutex_);
  const bool current = connection == socket_;
  if (!ready) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "RCZmqBrokerClientBase: Oculon peer apears to be down\n");
    // A connection made meanwhile has a peer of its own.
    if (current) peerDown_ = true;
    return nullptr;
  }
  if (!current) return nullptr;
  ZmqMessage frame;
  if (!frame.Receive(connection->socket.Get(), ZMQ_DONTWAIT)) return nullptr;
  connection->awaitsReply = false;
  CFDataRef reply = frame.Size() > 0 ? CopyFrame(frame) : nullptr;
  DropFurtherFrames(connection->socket.Get(), frame);
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
