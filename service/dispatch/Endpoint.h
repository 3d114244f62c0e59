// One of the dispatcher's sockets: who may connect, what came in, and to whom something goes out.
#pragma once
#include <sys/types.h>

#include <optional>
#include <string>

#include "common/KCDispatch.h"
#include "common/ZmqHandles.h"
#include "platform/LocalSocket.h"

namespace service {

struct Request {
  std::string client;   // by which a reply finds it
  bool framed = false;  // an empty frame and one more, as it must be
  std::string bytes;
};

enum class Sent {
  kDone,
  kFull,  // the client does not read: later
  kGone   // there is no such client any more
};

// One thread. The socket's name can be connected to by its owner and by root, and is removed with the object.
class Endpoint {
 public:
  // `context` is a ZeroMQ context that outlives this.
  Endpoint(void* zmqContext, KVLaunchContext context, std::string address);
  ~Endpoint() { name_.Remove(); }
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  [[nodiscard]] KVLaunchContext Context() const { return context_; }
  [[nodiscard]] const std::string& Address() const { return address_; }
  // For polling; null when it could not be bound.
  [[nodiscard]] void* Socket() const { return socket_ ? socket_->Get() : nullptr; }

  // Listens for `owner`. Whoever was connected before is not any more. 0 or an errno value.
  [[nodiscard]] int Bind(uid_t owner);

  // Nothing when none waits.
  [[nodiscard]] std::optional<Request> Receive();
  [[nodiscard]] Sent Send(const std::string& client, const std::string& reply);

 private:
  void* const zmqContext_;
  const KVLaunchContext context_;
  const std::string address_;
  platform::LocalSocketName name_;
  std::optional<ZmqSocket> socket_;
};

}  // namespace service
