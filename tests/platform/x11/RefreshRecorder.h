// A refresh callback that remembers every call.
#pragma once
#include <ApplicationServices/ApplicationServices.h>
#include <gtest/gtest.h>

#include <vector>

#include "platform/ThreadSafety.h"
#include "tests/support/WaitFor.h"

namespace test {

class RefreshRecorder {
 public:
  RefreshRecorder() = default;
  RefreshRecorder(const RefreshRecorder&) = delete;
  RefreshRecorder& operator=(const RefreshRecorder&) = delete;
  ~RefreshRecorder() { Unregister(); }

  CGError Register() { return CGRegisterScreenRefreshCallback(Callback, this); }
  void Unregister() { CGUnregisterScreenRefreshCallback(Callback, this); }

  [[nodiscard]] size_t Calls() {
    const Locked locked(lock_);
    return calls_.size();
  }
  // Waits until there is such a call, the first one being 0. Empty when there is none.
  [[nodiscard]] std::vector<CGRect> Call(size_t index) {
    if (!WaitFor([&] { return Calls() > index; })) return {};
    const Locked locked(lock_);
    return calls_[index];
  }

 private:
  static void Callback(uint32_t count, const CGRect* rects, void* info) {
    auto& self = *static_cast<RefreshRecorder*>(info);
    const Locked locked(self.lock_);
    self.calls_.emplace_back(rects, rects + count);
  }

  Lock lock_;
  std::vector<std::vector<CGRect>> calls_ GUARDED_BY(lock_);
};

}  // namespace test
