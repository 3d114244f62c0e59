// The thread that waits for the X server's events and calls the system's refresh and reconfiguration
// callbacks.
#pragma once
#include <CoreGraphics/CGDisplayConfiguration.h>
#include <CoreGraphics/CGRemoteOperation.h>
#include <pthread.h>

#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "platform/Handles.h"
#include "platform/ThreadSafety.h"
#include "platform/x11/Displays.h"

namespace platform::x11 {

class ScreenEvents;

// A callback and its user data, which together are its identity.
struct Registration {
  std::variant<CGScreenRefreshCallback, CGDisplayReconfigurationCallBack> callback;
  void* userInfo;
  bool operator==(const Registration&) const = default;
};

// The thread starts with the first registration and ends with the last. Callbacks are called on it, without a
// lock, so they may register and unregister.
class WindowServer {
 public:
  // Lives as long as the process.
  static WindowServer& Instance();

  // Any thread. After a success everything that happens is reported. kCGErrorCannotComplete when there is no
  // server, or one that cannot tell what is asked for. Registering a second time changes nothing.
  [[nodiscard]] CGError Add(const Registration& registration) EXCLUDES(lock_);

  // Any thread. When it returns the callback is not running, unless it is the caller. kCGErrorIllegalArgument
  // when there is no such registration.
  CGError Remove(const Registration& registration) EXCLUDES(lock_);

 private:
  enum class State {
    kIdle,      // no thread
    kStarting,  // a thread that has no connection yet
    kRunning,
    kClosing  // the thread touches no registration any more
  };

  WindowServer();
  [[nodiscard]] bool StartLocked() REQUIRES(lock_);
  [[nodiscard]] bool IsReadyLocked(const Registration& registration) const REQUIRES(lock_);
  [[nodiscard]] bool OnThread() const REQUIRES(lock_);
  void Wake() const;

  // On the thread:
  void Run() EXCLUDES(lock_);
  void Serve(ScreenEvents& events) EXCLUDES(lock_);
  // Starts and stops what the registrations need. False when there are none left.
  [[nodiscard]] bool Adapt(ScreenEvents& events) EXCLUDES(lock_);
  // Returns when something has arrived, from the server or from Wake(), or when the time is over (-1: never).
  void Await(const ScreenEvents& events, int timeoutMs) const;
  void ReportRedrawn() EXCLUDES(lock_);
  // Waits until the monitors have settled and reports what is different. False when the server is gone.
  [[nodiscard]] bool ReportMonitors(ScreenEvents& events) EXCLUDES(lock_);
  [[nodiscard]] std::shared_ptr<const DisplayList> Settle(ScreenEvents& events) EXCLUDES(lock_);
  // Calls `call` with every callback of type Function that is still registered at its turn.
  template <class Function, class Call>
  void CallAll(Call call) EXCLUDES(lock_);

  UniqueFd wake_;
  Lock lock_;
  Condition changed_;
  State state_ GUARDED_BY(lock_) = State::kIdle;
  pthread_t thread_ GUARDED_BY(lock_){};
  bool hearsDrawing_ GUARDED_BY(lock_) = false;
  bool drawingRefused_ GUARDED_BY(lock_) = false;
  std::vector<Registration> registrations_ GUARDED_BY(lock_);
  std::optional<Registration> running_ GUARDED_BY(lock_);

  // The thread's own, kept for their memory.
  std::vector<CGRect> redrawn_;
  std::vector<Registration> turn_;
  std::shared_ptr<const DisplayList> displays_;
};

}  // namespace platform::x11
