#include "platform/corefoundation/MessagePortServer.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "platform/System.h"

namespace platform::cf {

namespace {

using std::chrono::steady_clock;

// A client that stands still in the middle of a message for so long is dropped.
constexpr std::chrono::seconds kPatience{5};
// How long a process that has no descriptors left waits before it accepts again.
constexpr std::chrono::milliseconds kBreather{200};
constexpr std::ptrdiff_t kMaxConnections = 256;
constexpr std::ptrdiff_t kMaxConnectionsOfOthers = 16;  // for each user that is neither root nor ours
constexpr size_t kMaxBytesOfOthers = 2 * kMaxPortMessageBytes;

bool IsOther(uid_t user) { return user != 0 && user != geteuid(); }

}  // namespace

void MessagePortServer::SetSource(CFRunLoopSourceRef source) {
  const Locked held(lock_);
  source_ = Share(source);
}

void MessagePortServer::Attach(CFRunLoopRef loop) {
  const Locked held(lock_);
  if (!listener_.socket || (loop_ && loop_.get() != loop)) return;
  if (++attached_ > 1) return;
  loop_ = Share(loop);
  if (!listenerWatch_) {
    const std::weak_ptr<MessagePortServer> weak = weak_from_this();
    listenerWatch_ = std::make_unique<RunLoopWatch>(listener_.socket.Get(), [weak] {
      if (const auto server = weak.lock()) server->OnClients();
    });
    listenerWatch_->Watch(POLLIN);
  }
  listenerWatch_->Attach(loop);
  for (Client& client : clients_) client.watch->Attach(loop);
}

void MessagePortServer::Detach(CFRunLoopRef loop) {
  Owned<__CFRunLoop> dropped;
  const Locked held(lock_);
  if (loop_.get() != loop || --attached_ > 0) return;
  listenerWatch_->Detach();
  for (Client& client : clients_) client.watch->Detach();
  dropped = std::move(loop_);
}

// ---- clients

void MessagePortServer::OnClients() {
  const Locked held(lock_);
  if (!listenerWatch_) return;
  if (listenerWatch_->IsOverdue()) {
    listenerWatch_->SetDeadline(std::nullopt);
    listenerWatch_->Watch(POLLIN);
  }
  AcceptLocked();
}

void MessagePortServer::AcceptLocked() {
  constexpr int kMostAtATime = 32;  // then it is the turn of those who are connected
  for (int i = 0; i < kMostAtATime; ++i) {
    UniqueFd socket(accept4(listener_.socket.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (socket) {
      const std::optional<uid_t> user = PeerUser(socket.Get());
      if (user && MayConnectLocked(*user)) AddLocked(std::move(socket), *user);
      continue;
    }
    if (errno == EINTR || errno == ECONNABORTED) continue;
    if (errno == EAGAIN) return;
    ConsoleLog("a message port cannot accept a client: %s", std::strerror(errno));
    // The client stays in the queue, and would wake the loop again at once.
    listenerWatch_->Watch(0);
    listenerWatch_->SetDeadline(steady_clock::now() + kBreather);
    return;
  }
}

bool MessagePortServer::MayConnectLocked(uid_t user) const {
  if (!IsOther(user)) return std::ssize(clients_) < kMaxConnections;
  return geteuid() == 0 && std::count_if(clients_.begin(), clients_.end(), [user](const Client& client) {
                             return client.connection->User() == user;
                           }) < kMaxConnectionsOfOthers;
}

void MessagePortServer::AddLocked(UniqueFd socket, uid_t user) {
  auto connection = std::make_shared<MessagePortConnection>(std::move(socket), user);
  const std::weak_ptr<MessagePortServer> weak = weak_from_this();
  const std::weak_ptr<MessagePortConnection> weakConnection = connection;
  auto watch = std::make_unique<RunLoopWatch>(connection->Descriptor(), [weak, weakConnection] {
    const auto server = weak.lock();
    const auto ready = weakConnection.lock();
    if (server && ready) server->OnReady(ready);
  });
  watch->Watch(POLLIN);
  if (loop_) watch->Attach(loop_.get());
  clients_.push_back({std::move(connection), std::move(watch)});
}

void MessagePortServer::OnReady(const std::shared_ptr<MessagePortConnection>& connection) {
  using State = MessagePortConnection::State;
  const Locked held(lock_);
  Client* const client = FindLocked(connection.get());
  if (client == nullptr) return;
  const uint64_t before = connection->Progress();
  const State state = connection->GetState();
  if (state == State::kReading) {
    connection->Read();
  } else if (state == State::kReplying) {
    connection->Write();
  } else {
    client->watch->Watch(0);  // it has more to say, or has gone: after the answer
    return;
  }
  if (connection->Progress() == before && client->watch->IsOverdue())
    DropLocked(connection.get());
  else
    FollowLocked(*client);
}

void MessagePortServer::FollowLocked(Client& client) {
  using State = MessagePortConnection::State;
  MessagePortConnection& connection = *client.connection;
  switch (connection.GetState()) {
    case State::kReading:
      client.watch->Watch(POLLIN);
      break;
    case State::kRequest:
      requests_.push_back(client.connection);
      if (source_) CFRunLoopSourceSignal(source_.get());
      break;
    case State::kReplying:
      client.watch->Watch(POLLOUT);
      break;
    case State::kServed:
      break;
    case State::kEnded:
      if (connection.SentGarbage() && !std::exchange(garbageLogged_, true))
        ConsoleLog("a process of user %ld sent a message port what is no request",
                   static_cast<long>(connection.User()));
      DropLocked(&connection);
      return;
  }
  if (IsOther(connection.User()) && HoldsTooMuchLocked(connection.User())) {
    DropLocked(&connection);
    return;
  }
  if (!connection.IsMidway())
    client.watch->SetDeadline(std::nullopt);
  else if (std::exchange(client.progress, connection.Progress()) != connection.Progress())
    client.watch->SetDeadline(steady_clock::now() + kPatience);
}

bool MessagePortServer::HoldsTooMuchLocked(uid_t user) const {
  size_t bytes = 0;
  for (const Client& client : clients_)
    if (client.connection->User() == user) bytes += client.connection->HeldBytes();
  return bytes > kMaxBytesOfOthers;
}

void MessagePortServer::DropLocked(const MessagePortConnection* connection) {
  std::erase_if(clients_,
                [connection](const Client& client) { return client.connection.get() == connection; });
}

MessagePortServer::Client* MessagePortServer::FindLocked(const MessagePortConnection* connection) {
  const auto found = std::find_if(clients_.begin(), clients_.end(), [connection](const Client& client) {
    return client.connection.get() == connection;
  });
  return found != clients_.end() ? &*found : nullptr;
}

// ---- requests

std::optional<MessagePortServer::Pending> MessagePortServer::Take() {
  const Locked held(lock_);
  while (!requests_.empty()) {
    const std::shared_ptr<MessagePortConnection> connection = std::move(requests_.front());
    requests_.pop_front();
    if (!requests_.empty() && source_) CFRunLoopSourceSignal(source_.get());
    if (FindLocked(connection.get()) != nullptr) return Pending{connection, connection->TakeRequest()};
  }
  return std::nullopt;
}

void MessagePortServer::Finish(const Pending& pending, CFDataRef reply) {
  const Locked held(lock_);
  Client* const client = FindLocked(pending.connection.get());
  if (client == nullptr) return;
  pending.connection->Answer(reply);
  FollowLocked(*client);
}

void MessagePortServer::Close() {
  // Let go without the lock: the source may be the last to know the port.
  Owned<__CFRunLoopSource> source;
  Owned<__CFRunLoop> loop;
  const Locked held(lock_);
  listener_.name.Remove();
  listenerWatch_.reset();
  listener_.socket.Reset();
  clients_.clear();
  requests_.clear();
  source = std::move(source_);
  loop = std::move(loop_);
}

}  // namespace platform::cf
