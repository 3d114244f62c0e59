// What any thread gives the main loop to do.
#pragma once
#include <CoreFoundation/CFRunLoop.h>

#include <deque>
#include <functional>

#include "platform/ThreadSafety.h"

namespace platform::carbon {

// Lives as long as the process.
class MainQueue {
 public:
  static MainQueue& Instance();

  // Any thread. Served on the main thread in the order of posting, while its loop runs in the default mode.
  void Post(std::function<void()> work) EXCLUDES(lock_);

 private:
  MainQueue();
  void Serve() EXCLUDES(lock_);

  CFRunLoopSourceRef source_;
  Lock lock_;
  std::deque<std::function<void()>> waiting_ GUARDED_BY(lock_);
};

}  // namespace platform::carbon
