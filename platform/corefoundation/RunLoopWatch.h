// A descriptor that a run loop watches, whatever mode it runs in.
#pragma once
#include <CoreFoundation/CFRunLoop.h>

#include <chrono>
#include <functional>
#include <optional>

struct _GSource;

namespace platform::cf {

// One thread at a time. `work` is called by the loop, on the loop's thread; after Detach() on another thread
// a call may still be under way, so it must not reach what can be gone by then.
class RunLoopWatch {
 public:
  RunLoopWatch(int fd, std::function<void()> work) : fd_(fd), work_(std::move(work)) {}
  ~RunLoopWatch() { Detach(); }
  RunLoopWatch(const RunLoopWatch&) = delete;
  RunLoopWatch& operator=(const RunLoopWatch&) = delete;

  void Attach(CFRunLoopRef loop);
  void Detach();

  // What poll is asked for. 0: the descriptor is left alone, and its other end's death as well.
  void Watch(short events);
  // Calls at that time, too; nothing: no more.
  void SetDeadline(std::optional<std::chrono::steady_clock::time_point> deadline);
  [[nodiscard]] bool IsOverdue() const { return deadline_ && *deadline_ <= std::chrono::steady_clock::now(); }

 private:
  void Apply();

  const int fd_;
  const std::function<void()> work_;
  short events_ = 0;
  std::optional<std::chrono::steady_clock::time_point> deadline_;
  _GSource* source_ = nullptr;  // one reference is ours
  void* tag_ = nullptr;         // the descriptor's place in the source; null while it is left alone
};

}  // namespace platform::cf
