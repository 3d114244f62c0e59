#include "platform/x11/WindowServer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/QuietThread.h"
#include "platform/x11/Reconfiguration.h"
#include "platform/x11/ScreenEvents.h"
#include "platform/x11/Session.h"

namespace platform::x11 {
namespace {

using Clock = std::chrono::steady_clock;

// A change comes as a burst of events, 7 ms apart at most where it was measured. Between two of them there
// may be no monitor at all, so that state has to last longer before it is believed.
constexpr auto kQuiet = std::chrono::milliseconds(20);
constexpr auto kQuietWithoutMonitor = std::chrono::milliseconds(250);
// However busy the server is with changes, its listeners hear of them.
constexpr auto kLongestChange = std::chrono::seconds(1);

bool IsRefresh(const Registration& registration) {
  return std::holds_alternative<CGScreenRefreshCallback>(registration.callback);
}

}  // namespace

WindowServer& WindowServer::Instance() {
  static WindowServer* const instance = new WindowServer;
  return *instance;
}

WindowServer::WindowServer() : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

CGError WindowServer::Add(const Registration& registration) {
  const Locked locked(lock_);
  if (Session::Instance().Over()) return kCGErrorCannotComplete;
  if (std::find(registrations_.begin(), registrations_.end(), registration) == registrations_.end()) {
    registrations_.push_back(registration);
  }
  if (OnThread()) return kCGErrorSuccess;  // taken up when the callback has returned
  while (state_ == State::kClosing) changed_.Wait(lock_);
  if (state_ == State::kIdle && !StartLocked()) {
    std::erase(registrations_, registration);
    return kCGErrorCannotComplete;
  }
  Wake();
  while (state_ == State::kStarting || (state_ == State::kRunning && !IsReadyLocked(registration))) {
    changed_.Wait(lock_);
  }
  if (state_ == State::kRunning && !(IsRefresh(registration) && drawingRefused_)) return kCGErrorSuccess;
  std::erase(registrations_, registration);
  Wake();
  return kCGErrorCannotComplete;
}

CGError WindowServer::Remove(const Registration& registration) {
  const Locked locked(lock_);
  if (std::erase(registrations_, registration) == 0) return kCGErrorIllegalArgument;
  if (OnThread()) return kCGErrorSuccess;
  Wake();
  while (running_ == registration) changed_.Wait(lock_);
  while (registrations_.empty() && state_ != State::kIdle) changed_.Wait(lock_);
  return kCGErrorSuccess;
}

bool WindowServer::StartLocked() {
  if (!wake_) return false;
  // Detached: it ends by itself when nothing is registered, also from inside the last callback.
  if (!StartQuietThread(
          "window server", [](void* self) { static_cast<WindowServer*>(self)->Run(); }, this))
    return false;
  state_ = State::kStarting;
  return true;
}

bool WindowServer::IsReadyLocked(const Registration& registration) const {
  return !IsRefresh(registration) || hearsDrawing_ || drawingRefused_;
}

bool WindowServer::OnThread() const {
  return (state_ == State::kRunning || state_ == State::kClosing) &&
         pthread_equal(thread_, pthread_self()) != 0;
}

void WindowServer::Wake() const {
  const uint64_t one = 1;
  // Cannot fail but for a counter that is full, and then the thread is awake.
  (void)!write(wake_.Get(), &one, sizeof one);
}

void WindowServer::Run() {
  const CallScope scope;
  {
    std::unique_ptr<ScreenEvents> events = ScreenEvents::Open();
    if (events) displays_ = Displays::Instance().Ask(events->Server());
    if (events && displays_) {
      Displays::Instance().Keep(displays_);
      {
        const Locked locked(lock_);
        thread_ = pthread_self();
        state_ = State::kRunning;
        drawingRefused_ = false;
        changed_.NotifyAll();
      }
      Serve(*events);
    }
  }
  Displays::Instance().Forget();
  displays_.reset();
  redrawn_.clear();
  const Locked locked(lock_);
  hearsDrawing_ = false;
  state_ = State::kIdle;
  changed_.NotifyAll();
}

void WindowServer::Serve(ScreenEvents& events) {
  while (Adapt(events)) {
    bool monitorsChanged = false;
    if (!events.Drain(redrawn_, monitorsChanged)) break;
    if (monitorsChanged) Displays::Instance().Forget();
    const bool idle = redrawn_.empty() && !monitorsChanged;
    ReportRedrawn();
    if (monitorsChanged && !ReportMonitors(events)) break;
    if (idle) Await(events, -1);
  }
  const Locked locked(lock_);
  state_ = State::kClosing;
}

bool WindowServer::Adapt(ScreenEvents& events) {
  bool wanted = false;
  {
    const Locked locked(lock_);
    if (registrations_.empty()) {
      state_ = State::kClosing;
      return false;
    }
    wanted = std::any_of(registrations_.begin(), registrations_.end(), IsRefresh);
    if (!wanted) drawingRefused_ = false;
    if (wanted == events.HearsDrawing() || (wanted && drawingRefused_)) return true;
  }
  bool refused = false;
  if (wanted) {
    refused = !events.StartDrawing();
  } else {
    events.StopDrawing();
  }
  const Locked locked(lock_);
  drawingRefused_ = refused;
  hearsDrawing_ = events.HearsDrawing();
  changed_.NotifyAll();
  return true;
}

void WindowServer::Await(const ScreenEvents& events, int timeoutMs) const {
  pollfd ready[] = {{events.Fd(), POLLIN, 0}, {wake_.Get(), POLLIN, 0}};
  if (poll(ready, std::size(ready), timeoutMs) > 0 && ready[1].revents != 0) {
    uint64_t count = 0;
    (void)!read(wake_.Get(), &count, sizeof count);
  }
}

void WindowServer::ReportRedrawn() {
  if (redrawn_.empty()) return;
  CallAll<CGScreenRefreshCallback>([this](CGScreenRefreshCallback callback, void* userInfo) {
    callback(static_cast<uint32_t>(redrawn_.size()), redrawn_.data(), userInfo);
  });
  redrawn_.clear();
}

bool WindowServer::ReportMonitors(ScreenEvents& events) {
  const std::shared_ptr<const DisplayList> now = Settle(events);
  if (!now) return false;
  const std::shared_ptr<const DisplayList> before = std::exchange(displays_, now);
  Displays::Instance().Keep(now);
  for (const DisplayNotice& notice : NoticesOf(*before, *now)) {
    CallAll<CGDisplayReconfigurationCallBack>(
        [&notice](CGDisplayReconfigurationCallBack callback, void* userInfo) {
          callback(notice.display, notice.flags, userInfo);
        });
  }
  return true;
}

std::shared_ptr<const DisplayList> WindowServer::Settle(ScreenEvents& events) {
  const auto latest = Clock::now() + kLongestChange;
  for (;;) {
    std::shared_ptr<const DisplayList> displays = Displays::Instance().Ask(events.Server());
    if (!displays) return nullptr;
    const auto quietEnd =
        std::min(latest, Clock::now() + (displays->empty() ? kQuietWithoutMonitor : kQuiet));
    bool changedAgain = false;
    while (!changedAgain) {
      if (!events.Drain(redrawn_, changedAgain)) return nullptr;
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(quietEnd - Clock::now());
      if (left.count() <= 0) return changedAgain ? Displays::Instance().Ask(events.Server()) : displays;
      if (!changedAgain) Await(events, static_cast<int>(left.count()));
    }
  }
}

template <class Function, class Call>
void WindowServer::CallAll(Call call) {
  {
    const Locked locked(lock_);
    turn_ = registrations_;
  }
  for (const Registration& registration : turn_) {
    const auto* const callback = std::get_if<Function>(&registration.callback);
    if (callback == nullptr) continue;
    {
      const Locked locked(lock_);
      if (std::find(registrations_.begin(), registrations_.end(), registration) == registrations_.end())
        continue;
      running_ = registration;
    }
    call(*callback, registration.userInfo);
    const Locked locked(lock_);
    running_.reset();
    changed_.NotifyAll();
  }
}

}  // namespace platform::x11

namespace {

using platform::x11::CallScope;
using platform::x11::WindowServer;

}  // namespace

CGError CGRegisterScreenRefreshCallback(CGScreenRefreshCallback callback, void* userInfo) {
  if (callback == nullptr) return kCGErrorIllegalArgument;
  const CallScope scope;
  return WindowServer::Instance().Add({callback, userInfo});
}

void CGUnregisterScreenRefreshCallback(CGScreenRefreshCallback callback, void* userInfo) {
  const CallScope scope;
  WindowServer::Instance().Remove({callback, userInfo});
}

CGError CGDisplayRegisterReconfigurationCallback(CGDisplayReconfigurationCallBack callback, void* userInfo) {
  if (callback == nullptr) return kCGErrorIllegalArgument;
  const CallScope scope;
  return WindowServer::Instance().Add({callback, userInfo});
}

CGError CGDisplayRemoveReconfigurationCallback(CGDisplayReconfigurationCallBack callback, void* userInfo) {
  const CallScope scope;
  return WindowServer::Instance().Remove({callback, userInfo});
}
