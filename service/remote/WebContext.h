// What all connections of the web server share.
#pragma once
#include <cstddef>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "platform/ThreadSafety.h"
#include "service/remote/Site.h"
#include "service/remote/ViewerHub.h"
#include "service/remote/WebServer.h"

namespace boost::asio {
class io_context;
}

namespace remote {

// The way to the server's thread for those on other threads. Lives on when the server has gone: then it drops
// what it is given.
class IoQueue {
 public:
  explicit IoQueue(boost::asio::io_context& io) : io_(&io) {}

  void Post(std::function<void()> work) EXCLUDES(lock_);
  void Close() EXCLUDES(lock_);

 private:
  Lock lock_;
  boost::asio::io_context* io_ GUARDED_BY(lock_);
};

// A WebSocket, as the server's end sees it.
class ViewerLine {
 public:
  virtual ~ViewerLine() = default;
  // Tells the page, and waits for its answer.
  virtual void Close(uint16_t code, std::string reason) = 0;
  // Lets go of the connection at once.
  virtual void End() = 0;
};

// The server's thread. Lives longer than every connection.
struct WebContext {
  WebContext(boost::asio::io_context& io, Site webSite, ViewerHub& viewers, WebLimits webLimits)
      : queue(std::make_shared<IoQueue>(io)), site(std::move(webSite)), hub(viewers), limits(webLimits) {}

  const std::shared_ptr<IoQueue> queue;
  Site site;
  ViewerHub& hub;
  const WebLimits limits;
  size_t connections = 0;
  std::set<ViewerLine*> lines;           // those that are open
  std::function<void()> lineEnded = {};  // called after each end
};

// One of the limited number of connections, for as long as it lives. Moves with the connection.
class ConnectionSlot {
 public:
  explicit ConnectionSlot(WebContext& context) : context_(&context) { ++context.connections; }
  ConnectionSlot(ConnectionSlot&& other) noexcept : context_(std::exchange(other.context_, nullptr)) {}
  ConnectionSlot& operator=(ConnectionSlot&&) = delete;
  ~ConnectionSlot() {
    if (context_ != nullptr) --context_->connections;
  }

 private:
  WebContext* context_;
};

}  // namespace remote
