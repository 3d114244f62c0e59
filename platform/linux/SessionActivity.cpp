#include "platform/linux/SessionActivity.h"

#include <CoreFoundation/CFRunLoop.h>
#include <systemd/sd-login.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/GraphicalSession.h"
#include "platform/corefoundation/RunLoopWatch.h"

namespace platform {

namespace {

struct CloseMonitor {
  void operator()(sd_login_monitor* monitor) const noexcept { sd_login_monitor_unref(monitor); }
};
using MonitorPtr = std::unique_ptr<sd_login_monitor, CloseMonitor>;

// Lives as long as the process.
class Follower {
 public:
  Follower(std::string session, MonitorPtr monitor, std::function<void(bool)> changed)
      : session_(std::move(session)),
        monitor_(std::move(monitor)),
        changed_(std::move(changed)),
        active_(sd_session_is_active(session_.c_str())),
        watch_(sd_login_monitor_get_fd(monitor_.get()), [this] { Look(); }) {
    watch_.Watch(static_cast<short>(sd_login_monitor_get_events(monitor_.get())));
    watch_.Attach(CFRunLoopGetMain());
  }

 private:
  void Look() {
    sd_login_monitor_flush(monitor_.get());
    const int active = sd_session_is_active(session_.c_str());
    // A session that has ended is not told about: the process ends with its display.
    if (active >= 0 && std::exchange(active_, active) != active) changed_(active > 0);
  }

  const std::string session_;
  const MonitorPtr monitor_;
  const std::function<void(bool)> changed_;
  int active_;
  cf::RunLoopWatch watch_;
};

}  // namespace

void FollowSessionActivity(std::function<void(bool active)> changed) {
  std::string session = OwnSession();
  sd_login_monitor* monitor = nullptr;
  if (session.empty() || sd_login_monitor_new("session", &monitor) < 0) return;
  new Follower(std::move(session), MonitorPtr(monitor), std::move(changed));
}

}  // namespace platform
