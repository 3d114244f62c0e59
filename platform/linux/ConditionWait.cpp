#include <ctime>

#include "platform/System.h"

namespace platform {

int ConditionWaitRelative(pthread_cond_t* condition, pthread_mutex_t* mutex, int64_t nanoseconds) {
  constexpr int64_t kSecond = 1'000'000'000;
  timespec until{};
  clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_sec += nanoseconds / kSecond;
  until.tv_nsec += nanoseconds % kSecond;
  if (until.tv_nsec >= kSecond) {
    ++until.tv_sec;
    until.tv_nsec -= kSecond;
  }
  return pthread_cond_clockwait(condition, mutex, CLOCK_MONOTONIC, &until);
}

}  // namespace platform
