// A message port of another process, or of another part of this one: sends requests, waits for replies.
#pragma once
#include <chrono>
#include <string>
#include <thread>

#include "platform/Handles.h"
#include "platform/corefoundation/MessagePort.h"
#include "platform/corefoundation/MessagePortWire.h"

namespace platform::cf {

// One request at a time: threads take turns, and a request that is made while this thread waits for the reply
// of another (by what its run loop serves meanwhile) has a connection of its own.
//
// A request that times out takes its connection with it, so that a late reply meets nobody; the next one
// connects again. The port ends when its server has gone: noticed at the next use, or by IsValid().
class RemoteMessagePort final : public __CFMessagePort {
 public:
  // Null when there is no such port.
  [[nodiscard]] static CFMessagePortRef Create(CFStringRef name, const std::string& path);

  struct Request {
    SInt32 id;
    CFDataRef data;  // may be null
    CFTimeInterval sendTimeout;
    CFTimeInterval receiveTimeout;
    CFStringRef replyMode;  // null: no reply is wanted
  };
  // As CFMessagePortSendRequest.
  [[nodiscard]] SInt32 Send(const Request& request, CFDataRef* reply);

  [[nodiscard]] bool IsValid() override;

 protected:
  void End() override;

 private:
  using TimePoint = std::chrono::steady_clock::time_point;
  enum class Turn { kMine, kNested, kTimedOut };

  RemoteMessagePort(CFStringRef name, std::string path, UniqueFd connection);
  ~RemoteMessagePort() override = default;

  [[nodiscard]] Turn TakeTurn(TimePoint deadline);
  void PassTurn();
  [[nodiscard]] SInt32 SendOnMine(const Request& request, TimePoint deadline, CFDataRef* reply);
  [[nodiscard]] SInt32 SendNested(const Request& request, TimePoint deadline, CFDataRef* reply);

  const std::string path_;
  Lock lock_;
  Condition passed_;
  UniqueFd connection_ GUARDED_BY(lock_);   // none after a time-out
  std::thread::id user_ GUARDED_BY(lock_);  // whose turn it is
};

}  // namespace platform::cf
