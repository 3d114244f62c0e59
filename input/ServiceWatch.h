// Whether the service has been away for longer than it may.
#pragma once
#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "platform/ThreadSafety.h"

// It may be away for a limited time before it counts as away; a connection ends that at once. Its thread,
// which runs from the first time on, waits for the end of a time only while one runs.
//
// Any thread.
class ServiceWatch {
 public:
  // `changed` is called on the watch's thread, without its lock, when Away() has become another, and each
  // time that a limit has passed.
  ServiceWatch(std::chrono::milliseconds limit, std::function<void()> changed);
  // Waits for a `changed` that is under way.
  ~ServiceWatch();
  ServiceWatch(const ServiceWatch&) = delete;
  ServiceWatch& operator=(const ServiceWatch&) = delete;

  void Connected() EXCLUDES(lock_);
  void Disconnected() EXCLUDES(lock_);
  // The service has spoken: without a connection it may be away from now on for the whole time again.
  void Restart() EXCLUDES(lock_);
  // Without a connection a time begins, unless one runs.
  void Arm() EXCLUDES(lock_);

  [[nodiscard]] bool Away() EXCLUDES(lock_);

 private:
  using Clock = std::chrono::steady_clock;

  void BeginLocked() REQUIRES(lock_);
  void Run() EXCLUDES(lock_);

  const std::chrono::milliseconds limit_;
  const std::function<void()> changed_;
  Lock lock_;
  Condition woken_;
  bool connected_ GUARDED_BY(lock_) = false;
  bool away_ GUARDED_BY(lock_) = false;
  bool tell_ GUARDED_BY(lock_) = false;  // `changed_` is to be called
  bool ending_ GUARDED_BY(lock_) = false;
  std::optional<Clock::time_point> deadline_ GUARDED_BY(lock_);
  std::thread thread_ GUARDED_BY(lock_);
};
