// The recursive mutex of the shared-screen layer.
#pragma once
#include "platform/ThreadSafety.h"
#include "rcserv/RefCounted.h"

namespace rcserv {

class CAPABILITY("mutex") Lockable {
 public:
  virtual ~Lockable() = default;
  virtual void Lock() ACQUIRE() = 0;
  virtual void Unlock() RELEASE() = 0;
};

// The thread that holds it may lock it again, and then unlocks it as often.
class CAPABILITY("mutex") Mutex : public Lockable {
 public:
  Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  ~Mutex() override;

  // False when the system had no mutex to give. Locking an invalid one ends the process.
  [[nodiscard]] bool Valid() const { return impl_.Valid(); }

  void Lock() override ACQUIRE();
  void Unlock() override RELEASE();

 protected:
  class OsMutex;
  explicit Mutex(RefCountedPtrT<OsMutex> impl);

 private:
  RefCountedPtrT<OsMutex> impl_;
};

// Holds a mutex until the end of a scope.
class SCOPED_CAPABILITY MutexHold {
 public:
  explicit MutexHold(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
  ~MutexHold() RELEASE() { mutex_.Unlock(); }
  MutexHold(const MutexHold&) = delete;
  MutexHold& operator=(const MutexHold&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace rcserv
