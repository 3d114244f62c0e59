#include "input/ServiceWatch.h"

#include <utility>

ServiceWatch::ServiceWatch(std::chrono::milliseconds limit, std::function<void()> changed)
    : limit_(limit), changed_(std::move(changed)) {}

ServiceWatch::~ServiceWatch() {
  std::thread thread;
  {
    const Locked locked(lock_);
    ending_ = true;
    woken_.NotifyAll();
    thread.swap(thread_);
  }
  if (thread.joinable()) thread.join();
}

void ServiceWatch::Connected() {
  const Locked locked(lock_);
  connected_ = true;
  deadline_.reset();
  if (std::exchange(away_, false)) tell_ = true;
  woken_.NotifyAll();
}

void ServiceWatch::Disconnected() {
  const Locked locked(lock_);
  connected_ = false;
  BeginLocked();
}

void ServiceWatch::Restart() {
  const Locked locked(lock_);
  away_ = false;
  if (!connected_) BeginLocked();
}

void ServiceWatch::Arm() {
  const Locked locked(lock_);
  if (!connected_ && !deadline_) BeginLocked();
}

bool ServiceWatch::Away() {
  const Locked locked(lock_);
  return away_;
}

void ServiceWatch::BeginLocked() {
  deadline_ = Clock::now() + limit_;
  if (!thread_.joinable()) thread_ = std::thread([this] { Run(); });
  woken_.NotifyAll();
}

void ServiceWatch::Run() {
  const Locked locked(lock_);
  while (!ending_) {
    if (deadline_ && Clock::now() >= *deadline_) {
      deadline_.reset();
      away_ = true;
      tell_ = true;
    }
    if (std::exchange(tell_, false)) {
      lock_.Release();
      changed_();
      lock_.Acquire();
    } else if (deadline_) {
      // In vain or not: all is looked at again.
      static_cast<void>(woken_.WaitUntil(lock_, *deadline_));
    } else {
      woken_.Wait(lock_);
    }
  }
}
