// SIGINT, SIGTERM and SIGHUP end the main run loop.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <thread>

#include "common/StCFTypeRef.h"

namespace remote {

// One for the process, made before it has other threads. A signal that comes before the loop runs ends it,
// too.
class EndSignals {
 public:
  // Throws std::system_error when there is no pipe or thread to be had.
  EndSignals();
  // From here on they are ignored.
  ~EndSignals();
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

 private:
  void WaitForOne() const;

  StCFTypeRef<CFRunLoopSourceRef> source_;
  std::thread thread_;
};

}  // namespace remote
