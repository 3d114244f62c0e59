#include "service/dispatch/Endpoint.h"

#include <cerrno>
#include <string_view>
#include <utility>

#include "broker/LocalEndpoint.h"
#include "service/dispatch/LaunchOrder.h"

namespace service {

namespace {

// What a client may make us hold: in its direction requests, in ours pieces of output.
constexpr int64_t kMaxFrameBytes = 2 * kMaxRequestBytes;
constexpr int kMaxQueuedRequests = 16;
constexpr int kMaxQueuedReplies = 256;
// What replies to clients that do not read may delay the end by.
constexpr int kLingerMs = 500;

std::string Text(ZmqMessage& frame) { return {static_cast<const char*>(frame.Data()), frame.Size()}; }

}  // namespace

Endpoint::Endpoint(void* zmqContext, KVLaunchContext context, std::string address)
    : zmqContext_(zmqContext), context_(context), address_(std::move(address)) {}

int Endpoint::Bind(uid_t owner) {
  socket_.emplace(zmqContext_, ZMQ_ROUTER);
  int error = 0;
  if (Socket() == nullptr || !socket_->SetOption(ZMQ_LINGER, kLingerMs) ||
      !socket_->SetOption(ZMQ_RCVHWM, kMaxQueuedRequests) ||
      !socket_->SetOption(ZMQ_SNDHWM, kMaxQueuedReplies) || !socket_->SetOption(ZMQ_ROUTER_MANDATORY, 1) ||
      !socket_->BoundFrames(kMaxFrameBytes))
    error = zmq_errno();
  if (error == 0) error = BindLocalEndpoint(*socket_, address_, name_);
  if (error == 0) error = name_.GiveTo(owner);
  if (error == 0) return 0;
  name_.Remove();
  socket_.reset();
  return error;
}

std::optional<Request> Endpoint::Receive() {
  ZmqMessage frame;
  if (!frame.Receive(Socket(), ZMQ_DONTWAIT)) return std::nullopt;
  Request request;
  request.client = Text(frame);
  const bool delimited = frame.More() && frame.Receive(Socket()) && frame.Size() == 0;
  if (frame.More() && frame.Receive(Socket())) request.bytes = Text(frame);
  request.framed = !ZmqDropFurtherFrames(Socket(), frame) && delimited;
  return request;
}

Sent Endpoint::Send(const std::string& client, const std::string& reply) {
  if (Socket() == nullptr) return Sent::kGone;
  if (!ZmqSend(Socket(), client, ZMQ_SNDMORE | ZMQ_DONTWAIT))
    return zmq_errno() == EAGAIN ? Sent::kFull : Sent::kGone;
  const bool sent =
      ZmqSend(Socket(), "", ZMQ_SNDMORE | ZMQ_DONTWAIT) && ZmqSend(Socket(), reply, ZMQ_DONTWAIT);
  return sent ? Sent::kDone : Sent::kGone;
}

}  // namespace service
