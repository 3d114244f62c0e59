// The viewers, and which of them controls: what each may do, and what all are told.
#pragma once
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/ThreadSafety.h"
#include "service/remote/CommandQueue.h"
#include "service/remote/HeldInput.h"
#include "service/remote/PageMessages.h"
#include "service/remote/ScreenSource.h"
#include "service/remote/ServiceMessages.h"

namespace remote {

// Any thread. Channels and the queue, neither of which waits, are called with the lock held: what they get
// has the order of what happened.
class Roster {
 public:
  using Clock = std::chrono::steady_clock;

  Roster(CommandQueue& commands, bool viewOnly, size_t maxViewers, std::chrono::milliseconds answerLimit);

  // 0 when there are too many; the channel is then closed.
  [[nodiscard]] ViewerId Join(const std::shared_ptr<ViewerChannel>& channel, const std::string& address)
      EXCLUDES(lock_);
  // How many are left.
  size_t Leave(ViewerId viewer) EXCLUDES(lock_);
  [[nodiscard]] size_t Count() EXCLUDES(lock_);

  void Take(ViewerId viewer, const WantControl& message) EXCLUDES(lock_);
  void Take(ViewerId viewer, const AnswerRequest& message) EXCLUDES(lock_);
  void Take(ViewerId viewer, const AskSettings& message) EXCLUDES(lock_);
  void Answer(ViewerId viewer, const Ping& ping) EXCLUDES(lock_);
  // True when it was carried out: it is the controller's, and there is a session.
  [[nodiscard]] bool Take(ViewerId viewer, const PageInput& input) EXCLUDES(lock_);

  // Requests for control that the controller leaves unanswered are refused.
  void ExpireRequests(Clock::time_point now) EXCLUDES(lock_);

  void SetState(const SessionState& state) EXCLUDES(lock_);
  [[nodiscard]] SessionState State() EXCLUDES(lock_);
  void SetPermissions(const Permissions& permissions) EXCLUDES(lock_);
  void SetCorner(ScreenSource::Origin corner) EXCLUDES(lock_);
  // Desktop coordinates as the observer reports them.
  void TellPointer(int x, int y) EXCLUDES(lock_);
  void TellLayout(uint8_t layout) EXCLUDES(lock_);

  // The view start, or the settings, as they are asked for and allowed now.
  [[nodiscard]] CommandRecord ViewRecord(CommandCode code) EXCLUDES(lock_);
  // Whoever held something holds it no more: the observer that knew of it has gone.
  void ForgetHeld() EXCLUDES(lock_);
  // Nothing is asked for any more, and nothing held.
  void EndControl() EXCLUDES(lock_);

  // Since the controller's last input, or since there is one; nothing without one.
  [[nodiscard]] std::optional<Clock::duration> IdleTime(Clock::time_point now) EXCLUDES(lock_);

 private:
  struct Viewer {
    std::shared_ptr<ViewerChannel> channel;
    std::string address;
  };
  struct Request {
    ViewerId viewer;
    Clock::time_point deadline;
  };

  void TellAllLocked(const std::string& text) REQUIRES(lock_);
  void TellControlLocked() REQUIRES(lock_);
  void GiveControlLocked(ViewerId viewer) REQUIRES(lock_);
  // Control is free: the next who asked gets it, else `heir`, which may be 0.
  void PassControlLocked(ViewerId heir) REQUIRES(lock_);
  void AskControllerLocked(Request& request) REQUIRES(lock_);
  // Ends that viewer's request, if there is one; the controller is asked no more.
  void WithdrawLocked(ViewerId viewer) REQUIRES(lock_);
  void RefuseLocked(ViewerId viewer, std::string_view why) REQUIRES(lock_);
  void ReleaseHeldLocked() REQUIRES(lock_);
  void PostSettingsLocked() REQUIRES(lock_);
  [[nodiscard]] CommandRecord ViewRecordLocked(CommandCode code) const REQUIRES(lock_);
  void DoLocked(const PointerInput& input) REQUIRES(lock_);
  void DoLocked(const KeyInput& input) REQUIRES(lock_);
  void DoLocked(const CharacterInput& input) REQUIRES(lock_);
  [[nodiscard]] PointerInput OnDesktopLocked(PointerInput input) const REQUIRES(lock_);

  CommandQueue& commands_;
  const bool viewOnly_;
  const size_t maxViewers_;
  const std::chrono::milliseconds answerLimit_;

  Lock lock_;
  std::map<ViewerId, Viewer> viewers_ GUARDED_BY(lock_);
  ViewerId lastId_ GUARDED_BY(lock_) = 0;
  ViewerId controller_ GUARDED_BY(lock_) = 0;
  std::deque<Request> requests_ GUARDED_BY(lock_);  // the first who asked first
  bool lockAsked_ GUARDED_BY(lock_) = false;
  bool blankAsked_ GUARDED_BY(lock_) = false;
  HeldInput held_ GUARDED_BY(lock_);  // the controller's
  Clock::time_point lastInput_ GUARDED_BY(lock_);
  SessionState state_ GUARDED_BY(lock_) = Starting();
  Permissions permissions_ GUARDED_BY(lock_);
  ScreenSource::Origin corner_ GUARDED_BY(lock_);
  std::optional<uint8_t> layout_ GUARDED_BY(lock_);
};

}  // namespace remote
