// When this process's session begins and ends to be the one in front of its seat.
#pragma once
#include <functional>

namespace platform {

// From now on `changed` is called upon each change, on the main thread, by its loop in any mode. Never
// without a session manager, and when that does not know the process's session.
void FollowSessionActivity(std::function<void(bool active)> changed);

}  // namespace platform
