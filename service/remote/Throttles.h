// Slows down those who guess, and stops those who flood.
//
// One thread each. The clock is the caller's.
#pragma once
#include <chrono>

namespace remote {

using Clock = std::chrono::steady_clock;

// How long the answer to a wrong token is held back: twice as long for each, up to a limit, and from the
// start again when there has been none for a while. A right token is never held back, so nobody can lock
// others out.
class SignInDelay {
 public:
  static constexpr std::chrono::milliseconds kFirst{250};
  static constexpr std::chrono::milliseconds kLongest{8000};
  static constexpr std::chrono::minutes kForgottenAfter{1};

  [[nodiscard]] Clock::duration AfterFailure(Clock::time_point now);

 private:
  Clock::duration delay_{};
  Clock::time_point last_{};
};

// Lets `perSecond` through in the long run, and as many at once.
class MessageRate {
 public:
  MessageRate(unsigned perSecond, Clock::time_point now)
      : perSecond_(perSecond), left_(perSecond), last_(now) {}

  // False: too many.
  [[nodiscard]] bool Take(Clock::time_point now);

 private:
  const double perSecond_;
  double left_;
  Clock::time_point last_;
};

}  // namespace remote
