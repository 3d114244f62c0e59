#include "platform/carbon/Callout.h"

namespace platform::carbon {

bool Callout::Begin() {
  const Locked held(lock_);
  if (ended_) return false;
  ++depth_;
  thread_ = pthread_self();
  return true;
}

void Callout::Finish() {
  const Locked held(lock_);
  --depth_;
  changed_.NotifyAll();
}

void Callout::End() {
  const Locked held(lock_);
  ended_ = true;
  while (depth_ > 0 && pthread_equal(thread_, pthread_self()) == 0) changed_.Wait(lock_);
}

}  // namespace platform::carbon
