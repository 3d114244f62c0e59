// A connection to the X server, and the one that belongs to the calling thread.
#pragma once
#include <cstdint>
#include <memory>

#include "platform/Handles.h"

struct xcb_connection_t;
struct xcb_extension_t;
struct xcb_query_extension_reply_t;
struct xcb_screen_t;

namespace platform::x11 {

class SegmentPool;

// One thread at a time. Another client's grab of the server does not hold up its requests.
class Connection {
 public:
  // Null without a window server.
  static std::unique_ptr<Connection> Open();

  // The calling thread's: opened at its first use, closed when the thread ends. Null without a window server,
  // and once the session is over. Events that arrived on it are thrown away.
  static Connection* Current();

  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  [[nodiscard]] xcb_connection_t* Get() const { return xcb_; }
  [[nodiscard]] const xcb_screen_t& Screen() const { return *screen_; }
  [[nodiscard]] uint32_t Root() const;
  [[nodiscard]] int Fd() const;

  // Null when the server does not have it. Borrowed for the life of the connection.
  [[nodiscard]] const xcb_query_extension_reply_t* Extension(xcb_extension_t& extension) const;

  // Waits for the reply to a request. Null when the server refused it or is gone.
  template <class Reply, class Cookie>
  [[nodiscard]] MallocPtr<Reply> Await(Cookie cookie) {
    return MallocPtr<Reply>(static_cast<Reply*>(AwaitReply(cookie.sequence)));
  }
  // The same for a request without reply that was sent as a checked one.
  template <class Cookie>
  [[nodiscard]] bool Succeeded(Cookie cookie) {
    return AwaitSuccess(cookie.sequence);
  }

  // False when the connection is broken, which ends the session.
  [[nodiscard]] bool Flush();
  [[nodiscard]] bool Alive();
  // Returns when the server has done everything that was asked on this connection; false when it is gone.
  [[nodiscard]] bool Finish();

  // The shared memory that captures on this connection use.
  [[nodiscard]] SegmentPool& Segments() { return *segments_; }

 private:
  Connection(xcb_connection_t* xcb, int screen);
  [[nodiscard]] void* AwaitReply(unsigned sequence);
  [[nodiscard]] bool AwaitSuccess(unsigned sequence);
  void DiscardEvents();

  xcb_connection_t* xcb_;
  const xcb_screen_t* screen_ = nullptr;
  std::shared_ptr<SegmentPool> segments_;
};

}  // namespace platform::x11
