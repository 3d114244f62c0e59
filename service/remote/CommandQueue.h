// What waits for the observer: commands, and work that its one thread does in between.
#pragma once
#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <variant>

#include "platform/ThreadSafety.h"
#include "service/remote/CommandRecord.h"

namespace remote {

// Any thread; one takes.
class CommandQueue {
 public:
  using Clock = std::chrono::steady_clock;
  using Job = std::function<void()>;
  using Entry = std::variant<CommandRecord, Job>;

  // Of moves of the pointer that wait one behind the other, only the newest stays.
  void Post(const CommandRecord& record) EXCLUDES(lock_);
  void Post(Job job) EXCLUDES(lock_);
  // The commands that wait are no longer wanted.
  void DropRecords() EXCLUDES(lock_);

  // Waits for the next one; nothing when `deadline` came first, or Close().
  [[nodiscard]] std::optional<Entry> Take(std::optional<Clock::time_point> deadline) EXCLUDES(lock_);

  // Nothing is taken in any more. What waits is still given out.
  void Close() EXCLUDES(lock_);
  [[nodiscard]] bool Closed() EXCLUDES(lock_);

 private:
  Lock lock_;
  Condition changed_;
  std::deque<Entry> entries_ GUARDED_BY(lock_);
  bool closed_ GUARDED_BY(lock_) = false;
};

}  // namespace remote
