#include "rcserv/Mutex.h"

#include <pthread.h>

// The assertions below hold in every build: going on without the lock would damage what it guards.
#undef NDEBUG
#include <cassert>

namespace rcserv {

// Owns the POSIX mutex; is its own control block.
class Mutex::OsMutex final : public RefCountedBase {
 public:
  static RefCountedPtrT<OsMutex> Create() {
    std::unique_ptr<OsMutex> made(new (std::nothrow) OsMutex);
    if (!made || !made->Initialize()) return {};
    OsMutex* const mutex = made.release();
    return RefCountedPtrT<OsMutex>::Adopt(mutex, mutex);
  }

  ~OsMutex() override { Discard(); }

  void Lock() { pthread_mutex_lock(&mutex_); }
  void Unlock() { pthread_mutex_unlock(&mutex_); }

 protected:
  void Discard() override {
    if (std::exchange(initialized_, false)) pthread_mutex_destroy(&mutex_);
  }

 private:
  [[nodiscard]] bool Initialize() {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) return false;
    initialized_ = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                   pthread_mutex_init(&mutex_, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return initialized_;
  }

  pthread_mutex_t mutex_;
  bool initialized_ = false;
};

Mutex::Mutex() : impl_(OsMutex::Create()) {}
Mutex::Mutex(RefCountedPtrT<OsMutex> impl) : impl_(std::move(impl)) {}
Mutex::~Mutex() = default;

void Mutex::Lock() {
  assert(impl_.Valid());
  impl_->Lock();
}

void Mutex::Unlock() {
  assert(impl_.Valid());
  impl_->Unlock();
}

}  // namespace rcserv
