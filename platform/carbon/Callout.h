// A function of the system's that the main loop calls until somebody ends that.
#pragma once
#include <pthread.h>

#include "platform/ThreadSafety.h"

namespace platform::carbon {

// Any thread; the calls themselves are of one thread.
class Callout {
 public:
  // True, for as long as it lives, when the function may be called.
  class Turn {
   public:
    explicit Turn(Callout& callout) : callout_(callout), granted_(callout.Begin()) {}
    ~Turn() {
      if (granted_) callout_.Finish();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    explicit operator bool() const { return granted_; }

   private:
    Callout& callout_;
    const bool granted_;
  };

  // When it returns the function does not run and never will again (called from inside it: after that call).
  void End() EXCLUDES(lock_);

 private:
  [[nodiscard]] bool Begin() EXCLUDES(lock_);
  void Finish() EXCLUDES(lock_);

  Lock lock_;
  Condition changed_;
  bool ended_ GUARDED_BY(lock_) = false;
  int depth_ GUARDED_BY(lock_) = 0;  // a function that runs the loop can be called in itself
  pthread_t thread_ GUARDED_BY(lock_){};
};

}  // namespace platform::carbon
