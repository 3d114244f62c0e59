#include "platform/corefoundation/MessagePortRemote.h"

#include <CoreFoundation/CFData.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "platform/System.h"
#include "platform/corefoundation/MessagePortSocket.h"
#include "platform/corefoundation/RunLoop.h"
#include "platform/corefoundation/RunLoopTimer.h"
#include "platform/corefoundation/String.h"

namespace platform::cf {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using TimePoint = steady_clock::time_point;

// The longest that a server's queue of new connections is waited for.
constexpr milliseconds kConnectPatience{1000};

constexpr CFMessagePortContext kNoContext{};

// What happened to one message on one connection.
struct Outcome {
  SInt32 result;
  bool keep = true;  // the connection is fit for another request
};

// Nothing may come that was not asked for, so what can be read is the end.
bool PeerHasGone(int fd) {
  char byte;
  return recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0 || (errno != EAGAIN && errno != EINTR);
}

// A request that has not begun when its time is over leaves the connection as it was.
Outcome Write(int fd, const RemoteMessagePort::Request& request, TimePoint deadline) {
  const size_t length = request.data != nullptr ? static_cast<size_t>(CFDataGetLength(request.data)) : 0;
  PortHeader header = MakePortHeader(kPortRequestMagic, request.id,
                                     request.replyMode != nullptr ? kPortReplyWanted : 0, length);
  const size_t whole = sizeof header + length;
  size_t done = 0;
  while (done < whole) {
    const size_t headerDone = std::min(done, sizeof header);
    iovec pieces[2] = {{reinterpret_cast<char*>(&header) + headerDone, sizeof header - headerDone}, {}};
    if (length > 0)
      pieces[1] = {const_cast<UInt8*>(CFDataGetBytePtr(request.data)) + (done - headerDone),
                   whole - sizeof header - (done - headerDone)};
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = 2;
    const ssize_t sent = sendmsg(fd, &message, MSG_DONTWAIT | SendFlags());
    if (sent >= 0)
      done += static_cast<size_t>(sent);
    else if (errno == EAGAIN) {
      if (!WaitForDescriptor(fd, POLLOUT, request.replyMode, deadline))
        return {kCFMessagePortSendTimeout, done == 0};
    } else if (errno != EINTR)
      return {kCFMessagePortBecameInvalidError, false};
  }
  return {kCFMessagePortSuccess};
}

Outcome Read(int fd, const RemoteMessagePort::Request& request, CFDataRef* reply) {
  const TimePoint deadline = After(request.receiveTimeout);
  PortMessageReader reader(kPortReplyMagic);
  std::array<std::byte, 16 << 10> input;
  while (!reader.IsComplete()) {
    if (!WaitForDescriptor(fd, POLLIN, request.replyMode, deadline))
      return {kCFMessagePortReceiveTimeout, false};
    const ssize_t received = recv(fd, input.data(), input.size(), MSG_DONTWAIT);
    if (received < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (received <= 0) return {kCFMessagePortBecameInvalidError, false};
    const auto bytes = std::span(input).first(static_cast<size_t>(received));
    if (reader.Feed(bytes) < bytes.size() || reader.IsBroken()) return {kCFMessagePortTransportError, false};
  }
  const PortHeader& header = reader.Header();
  if (header.number != 0 || (header.flag == 0 && header.length != 0))
    return {kCFMessagePortTransportError, false};
  if (reply != nullptr && header.flag != 0)
    *reply = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(reader.Body().data()),
                          static_cast<CFIndex>(reader.Body().size()));
  return {kCFMessagePortSuccess};
}

Outcome Exchange(int fd, const RemoteMessagePort::Request& request, TimePoint deadline, CFDataRef* reply) {
  const Outcome sent = Write(fd, request, deadline);
  if (sent.result != kCFMessagePortSuccess || request.replyMode == nullptr) return sent;
  return Read(fd, request, reply);
}

UniqueFd ConnectBy(const std::string& path, TimePoint deadline) {
  const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
  return ConnectToPort(path, std::clamp(left, milliseconds(1), kConnectPatience));
}

}  // namespace

CFMessagePortRef RemoteMessagePort::Create(CFStringRef name, const std::string& path) {
  UniqueFd connection = ConnectToPort(path, kConnectPatience);
  return connection ? new RemoteMessagePort(name, path, std::move(connection)) : nullptr;
}

RemoteMessagePort::RemoteMessagePort(CFStringRef name, std::string path, UniqueFd connection)
    : __CFMessagePort(name, kNoContext), path_(std::move(path)), connection_(std::move(connection)) {}

// Wakes whoever waits for a reply; its turn is still its own.
void RemoteMessagePort::End() {
  const Locked held(lock_);
  if (connection_) shutdown(connection_.Get(), SHUT_RDWR);
}

bool RemoteMessagePort::IsValid() {
  if (!__CFMessagePort::IsValid()) return false;
  bool gone;
  {
    const Locked held(lock_);
    gone = user_ == std::thread::id() && connection_ && PeerHasGone(connection_.Get());
  }
  if (gone) Invalidate();
  return !gone;
}

SInt32 RemoteMessagePort::Send(const Request& request, CFDataRef* reply) {
  if (reply != nullptr) *reply = nullptr;
  if (!__CFMessagePort::IsValid()) return kCFMessagePortIsInvalid;
  if (request.data != nullptr && static_cast<size_t>(CFDataGetLength(request.data)) > kMaxPortMessageBytes)
    return kCFMessagePortTransportError;

  const TimePoint deadline = After(request.sendTimeout);
  const Turn turn = TakeTurn(deadline);
  if (turn == Turn::kTimedOut) return kCFMessagePortSendTimeout;
  if (turn == Turn::kNested) return SendNested(request, deadline, reply);
  const SInt32 result = SendOnMine(request, deadline, reply);
  PassTurn();
  if (result == kCFMessagePortIsInvalid || result == kCFMessagePortBecameInvalidError ||
      result == kCFMessagePortTransportError)
    Invalidate();
  return result;
}

RemoteMessagePort::Turn RemoteMessagePort::TakeTurn(TimePoint deadline) {
  const Locked held(lock_);
  if (user_ == std::this_thread::get_id()) return Turn::kNested;
  while (user_ != std::thread::id())
    if (!passed_.WaitUntil(lock_, deadline) && user_ != std::thread::id()) return Turn::kTimedOut;
  user_ = std::this_thread::get_id();
  return Turn::kMine;
}

void RemoteMessagePort::PassTurn() {
  const Locked held(lock_);
  user_ = {};
  passed_.NotifyAll();
}

SInt32 RemoteMessagePort::SendOnMine(const Request& request, TimePoint deadline, CFDataRef* reply) {
  int fd;
  {
    const Locked held(lock_);
    // The first use after a time-out.
    if (!connection_) connection_ = ConnectBy(path_, deadline);
    fd = connection_.Get();
  }
  if (fd < 0 || !__CFMessagePort::IsValid() || PeerHasGone(fd)) return kCFMessagePortIsInvalid;
  const Outcome outcome = Exchange(fd, request, deadline, reply);
  if (!outcome.keep) {
    const Locked held(lock_);
    connection_.Reset();
  }
  return outcome.result;
}

SInt32 RemoteMessagePort::SendNested(const Request& request, TimePoint deadline, CFDataRef* reply) {
  const UniqueFd connection = ConnectBy(path_, deadline);
  return connection ? Exchange(connection.Get(), request, deadline, reply).result : kCFMessagePortIsInvalid;
}

}  // namespace platform::cf
