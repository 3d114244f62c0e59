// The way to the observer: its start, its commands, its end.
#pragma once
#include "service/remote/CommandRecord.h"

namespace remote {

// One thread, the command thread, which waits in here for the observer; Interrupt() on any.
class ObserverLink {
 public:
  virtual ~ObserverLink() = default;

  // Starts the observer. False, and logged, when it cannot be.
  [[nodiscard]] virtual bool Start() = 0;
  // Starts another one in its place.
  [[nodiscard]] virtual bool Restart() = 0;
  // Starts the view, under these settings: a record of code 49.
  virtual void StartView(const CommandRecord& settings) = 0;
  virtual void Send(const CommandRecord& record) = 0;
  // Ends the view, and the observer.
  virtual void End() = 0;

  // Nobody waits for the observer any more: it is gone.
  virtual void Interrupt() = 0;
};

}  // namespace remote
