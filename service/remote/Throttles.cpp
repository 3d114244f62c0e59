#include "service/remote/Throttles.h"

#include <algorithm>

namespace remote {

Clock::duration SignInDelay::AfterFailure(Clock::time_point now) {
  const bool first = delay_ == Clock::duration::zero() || now - last_ > kForgottenAfter;
  delay_ = first ? kFirst : std::min<Clock::duration>(delay_ * 2, kLongest);
  last_ = now;
  return delay_;
}

bool MessageRate::Take(Clock::time_point now) {
  const std::chrono::duration<double> passed = now - last_;
  left_ = std::min(perSecond_, left_ + passed.count() * perSecond_);
  last_ = now;
  if (left_ < 1) return false;
  left_ -= 1;
  return true;
}

}  // namespace remote
