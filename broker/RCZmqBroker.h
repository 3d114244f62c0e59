// A request/reply pair over ZeroMQ: the server's end with a thread of its own, and the client's end.
//
// A request is two frames: the message id, 32 bits in the host's byte order, and the payload. A reply is one
// frame, of length 0 when there is nothing to say.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string>
#include <thread>

#include "platform/ThreadSafety.h"

// Serves requests one at a time on the broker thread. Every request gets exactly one reply, also one of the
// wrong shape (a first frame that is not 4 bytes, a second that is missing, more than two), which is logged
// and never reaches ProcessData().
//
// Threads: start(), stop() and the destructor on the owner's thread; stop() and stop_thread() also from
// inside ProcessData(); stop_thread() on any.
class RCZmqBrokerServerBase {
 public:
  RCZmqBrokerServerBase();
  RCZmqBrokerServerBase(const RCZmqBrokerServerBase&) = delete;
  RCZmqBrokerServerBase& operator=(const RCZmqBrokerServerBase&) = delete;

  // Runs on the broker thread. `payload` is borrowed, and null for an empty frame. The result (may be null)
  // is the caller's to release.
  virtual CFDataRef ProcessData(int messageId, CFDataRef payload);

  // Waits for the broker thread: an owner that has not called stop() before waits for ever. Who derives calls
  // it in its own destructor, so that ProcessData() is not called on half an object.
  virtual ~RCZmqBrokerServerBase();

  // Binds `endpoint` and serves it; a server that runs is ended first. False when it cannot be bound, or when
  // there is no thread to be had, or on the broker thread. The name of an "ipc://" endpoint is taken over
  // from whoever has it, and only its owner and root can connect.
  [[nodiscard]] bool start(const std::string& endpoint);

  // Ends the broker thread and waits for it: up to a second, and the time of the request that is being
  // served. On the broker thread it does not wait; the current request is still answered.
  void stop();

  // Asks the broker thread to end.
  void stop_thread();

 protected:
  // Receives one request and hands it to ProcessData(); returns what that returned. `socket` is a ZeroMQ
  // reply socket with a request waiting.
  CFDataRef process_request(void* socket);

 private:
  void process_data_loop();
  void serve(void* socket);
  bool stop_requested();

  Lock mutex_;
  Condition condition_;
  std::thread thread_;
  std::string endpoint_;
  bool started_ GUARDED_BY(mutex_) = false;  // the broker thread has tried to bind
  bool stopRequested_ GUARDED_BY(mutex_) = false;
  bool bound_ GUARDED_BY(mutex_) = false;
  void* context_;
};

// Sends a request and waits for its reply. After a time-out every request is refused until start() is called
// again.
//
// Threads: any. The lock is not held while a reply is awaited: another thread may stop() or start()
// meanwhile, which ends the wait. A second request meanwhile fails at once, as one that cannot be sent.
class RCZmqBrokerClientBase {
 public:
  RCZmqBrokerClientBase();
  ~RCZmqBrokerClientBase();
  RCZmqBrokerClientBase(const RCZmqBrokerClientBase&) = delete;
  RCZmqBrokerClientBase& operator=(const RCZmqBrokerClientBase&) = delete;

  // False for an endpoint that is not well-formed. A server need not be there yet.
  [[nodiscard]] bool start(const std::string& endpoint);
  void stop();

  // The reply, which the caller releases; null when it is empty or there is none. `length` becomes 0 when
  // the request could not be sent.
  CFDataRef transfer_request(int messageId, const unsigned char* bytes, long& length);

  // Null data gives null.
  CFDataRef TransferData(int messageId, CFDataRef data);

  // Sends a command and drops its reply. Returns `length`, or 0 when it could not be sent.
  long TransferData(const unsigned char* bytes, long length);

 protected:
  // What a reply may take before the peer counts as down. Set before the first request.
  int replyTimeoutMs_ = 20000;

 private:
  struct Connection;

  void DropConnectionLocked() REQUIRES(mutex_);
  [[nodiscard]] std::shared_ptr<Connection> SendRequest(int messageId, const unsigned char* bytes,
                                                        long& length);
  [[nodiscard]] CFDataRef ReceiveReply(const std::shared_ptr<Connection>& connection, bool ready);

  Lock mutex_;
  bool peerDown_ GUARDED_BY(mutex_) = false;
  void* context_;
  std::shared_ptr<Connection> socket_ GUARDED_BY(mutex_);  // null when not connected
};
