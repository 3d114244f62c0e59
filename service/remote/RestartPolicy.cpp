#include "service/remote/RestartPolicy.h"

#include <algorithm>

namespace remote {
namespace {

using namespace std::chrono_literals;

constexpr auto kFirstDelay = 250ms;
constexpr std::chrono::milliseconds kLongestDelay = 8s;
constexpr auto kMemory = 60s;
constexpr size_t kMostLosses = 7;

}  // namespace

std::optional<std::chrono::milliseconds> RestartPolicy::Lost(Clock::time_point now) {
  while (!losses_.empty() && now - losses_.front() > kMemory) losses_.pop_front();
  losses_.push_back(now);
  if (losses_.size() > kMostLosses) return std::nullopt;
  return std::min(kFirstDelay * (1 << (losses_.size() - 1)), kLongestDelay);
}

}  // namespace remote
