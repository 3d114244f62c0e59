// A mutex and its scoped holder that clang's thread-safety analysis understands, and the annotations for what
// they guard.
//
// Source of the attribute names: clang's documentation, "Thread Safety Analysis". Other compilers see
// nothing.
#pragma once
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define PLATFORM_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define PLATFORM_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(name) PLATFORM_THREAD_ATTRIBUTE(capability(name))
#define SCOPED_CAPABILITY PLATFORM_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(lock) PLATFORM_THREAD_ATTRIBUTE(guarded_by(lock))
#define PT_GUARDED_BY(lock) PLATFORM_THREAD_ATTRIBUTE(pt_guarded_by(lock))
#define REQUIRES(...) PLATFORM_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) PLATFORM_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) PLATFORM_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) PLATFORM_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))

// Not recursive.
class CAPABILITY("mutex") Lock {
 public:
  Lock() = default;
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void Acquire() ACQUIRE() { mutex_.lock(); }
  void Release() RELEASE() { mutex_.unlock(); }

 private:
  friend class Condition;
  std::mutex mutex_;
};

class SCOPED_CAPABILITY Locked {
 public:
  explicit Locked(Lock& lock) ACQUIRE(lock) : lock_(lock) { lock_.Acquire(); }
  ~Locked() RELEASE() { lock_.Release(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  Lock& lock_;
};

// Waits for a change of what a Lock guards. The caller tests its own condition in a loop: a wait may end
// early.
class Condition {
 public:
  void NotifyAll() { condition_.notify_all(); }

  void Wait(Lock& lock) REQUIRES(lock) {
    std::unique_lock<std::mutex> held(lock.mutex_, std::adopt_lock);
    condition_.wait(held);
    held.release();
  }

  // False when `deadline` passed first.
  template <class Clock, class Duration>
  [[nodiscard]] bool WaitUntil(Lock& lock, const std::chrono::time_point<Clock, Duration>& deadline)
      REQUIRES(lock) {
    std::unique_lock<std::mutex> held(lock.mutex_, std::adopt_lock);
    const auto status = condition_.wait_until(held, deadline);
    held.release();
    return status == std::cv_status::no_timeout;
  }

 private:
  std::condition_variable condition_;
};
