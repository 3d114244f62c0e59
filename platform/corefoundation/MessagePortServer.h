// The serving side of a local message port: accepts clients and collects their requests, on a run loop.
#pragma once
#include <CoreFoundation/CFRunLoop.h>

#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "platform/ThreadSafety.h"
#include "platform/corefoundation/MessagePortConnection.h"
#include "platform/corefoundation/MessagePortSocket.h"
#include "platform/corefoundation/Owned.h"
#include "platform/corefoundation/RunLoopWatch.h"

namespace platform::cf {

// Bytes are moved in every mode of the loop, so no client waits for another; a request is announced by
// signalling the port's source, and waits there for the mode in which it is answered.
//
// A server of a user listens to that user and root; one of root listens to everybody, and gives every user
// but root a limited number of connections and bytes.
//
// Any thread; the watches call on the loop's thread.
class MessagePortServer : public std::enable_shared_from_this<MessagePortServer> {
 public:
  explicit MessagePortServer(PortListener listener) : listener_(std::move(listener)) {}

  // What is signalled for each request. Once; Close() lets it go.
  void SetSource(CFRunLoopSourceRef source);
  // On the first of its loops alone; ends with as many Detach() calls.
  void Attach(CFRunLoopRef loop);
  void Detach(CFRunLoopRef loop);

  // The request that has waited longest, which Finish() must follow. Nothing when there is none.
  struct Pending {
    std::shared_ptr<MessagePortConnection> connection;
    MessagePortConnection::Request request;
  };
  [[nodiscard]] std::optional<Pending> Take();
  void Finish(const Pending& pending, CFDataRef reply);

  // Removes the name and drops everybody. Nothing is announced any more.
  void Close();

 private:
  struct Client {
    std::shared_ptr<MessagePortConnection> connection;
    std::unique_ptr<RunLoopWatch> watch;
    uint64_t progress = 0;  // when its deadline was set
  };

  void OnClients();
  void OnReady(const std::shared_ptr<MessagePortConnection>& connection);
  void AcceptLocked() REQUIRES(lock_);
  [[nodiscard]] bool MayConnectLocked(uid_t user) const REQUIRES(lock_);
  void AddLocked(UniqueFd socket, uid_t user) REQUIRES(lock_);
  // Does what the connection's new state asks for.
  void FollowLocked(Client& client) REQUIRES(lock_);
  void DropLocked(const MessagePortConnection* connection) REQUIRES(lock_);
  [[nodiscard]] Client* FindLocked(const MessagePortConnection* connection) REQUIRES(lock_);
  [[nodiscard]] bool HoldsTooMuchLocked(uid_t user) const REQUIRES(lock_);

  Lock lock_;
  PortListener listener_ GUARDED_BY(lock_);
  Owned<__CFRunLoopSource> source_ GUARDED_BY(lock_);
  Owned<__CFRunLoop> loop_ GUARDED_BY(lock_);
  int attached_ GUARDED_BY(lock_) = 0;  // how often
  std::unique_ptr<RunLoopWatch> listenerWatch_ GUARDED_BY(lock_);
  std::vector<Client> clients_ GUARDED_BY(lock_);
  std::deque<std::shared_ptr<MessagePortConnection>> requests_ GUARDED_BY(lock_);
  bool garbageLogged_ GUARDED_BY(lock_) = false;
};

}  // namespace platform::cf
