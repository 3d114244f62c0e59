// The observer's life: started for a view, watched, started again when it is lost, ended.
#pragma once
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "service/remote/CommandQueue.h"
#include "service/remote/ObserverLink.h"
#include "service/remote/RestartPolicy.h"
#include "service/remote/Roster.h"
#include "service/remote/ScreenPump.h"

namespace remote {

// Owns the command thread, which waits for the observer so that nobody else has to; what it does is posted to
// the queue. All but the constructor, the destructor and Stop() is called there.
class ObserverLife {
 public:
  ObserverLife(CommandQueue& commands, Roster& roster, ObserverLink& link, ScreenPump& pump);
  ~ObserverLife() { Stop(); }
  ObserverLife(const ObserverLife&) = delete;
  ObserverLife& operator=(const ObserverLife&) = delete;

  // Ends the observer, if it runs, after what waits in the queue, which is then closed. One that does not
  // answer is not waited for longer than some seconds. On any other thread.
  void Stop() EXCLUDES(lock_);

  // Starts the observer and its view; nothing when it was started.
  void Begin();
  [[nodiscard]] bool Begun() const { return begun_; }
  // Ends it; `state` is what viewers are told.
  void End(const SessionState& state);
  // By somebody's wish.
  void Restart();

  // News of the pump.
  void Up(unsigned watch);
  void Lost(unsigned watch);

 private:
  using Clock = std::chrono::steady_clock;

  void Run();
  void StartView();
  void Revive();

  CommandQueue& commands_;
  Roster& roster_;
  ObserverLink& link_;
  ScreenPump& pump_;
  RestartPolicy policy_;
  bool begun_ = false;
  int failures_ = 0;  // to show a screen, since it last did
  unsigned watch_ = 0;
  std::optional<Clock::time_point> revival_;
  Lock lock_;
  Condition changed_;
  bool finished_ GUARDED_BY(lock_) = false;
  std::thread thread_;
};

}  // namespace remote
