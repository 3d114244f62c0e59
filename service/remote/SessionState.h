// Whether there is a picture, and why not, in words for a person.
#pragma once
#include <chrono>
#include <string>

namespace remote {

enum class Phase { kStarting, kWaiting, kRunning, kRestarting, kNoDisplay, kFailed, kRefused, kEnded };

// Nothing happens any more until somebody tries again.
[[nodiscard]] bool IsFinal(Phase phase);

struct SessionState {
  Phase phase = Phase::kStarting;
  std::string text = {};    // what is so
  std::string advice = {};  // what to do; may be empty

  bool operator==(const SessionState&) const = default;
};

[[nodiscard]] SessionState Starting();
[[nodiscard]] SessionState Waiting();
[[nodiscard]] SessionState Running();
[[nodiscard]] SessionState Restarting();
// `why`: what platform::DescribeSession() says.
[[nodiscard]] SessionState NoDisplay(const std::string& why);
[[nodiscard]] SessionState FailedToStart();
[[nodiscard]] SessionState LostTooOften();
[[nodiscard]] SessionState RefusedBySettings();
// Who is asked again only `wait` later.
[[nodiscard]] SessionState RefusedByUser(std::chrono::seconds wait);
[[nodiscard]] SessionState NobodyToAsk();
[[nodiscard]] SessionState CannotAskUser();
[[nodiscard]] SessionState Idle();
[[nodiscard]] SessionState EndedByService();

}  // namespace remote
