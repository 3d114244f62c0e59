// Something that a run loop serves when it was signalled.
#pragma once
#include <CoreFoundation/CFRunLoop.h>

#include <atomic>
#include <string>
#include <vector>

#include "platform/ThreadSafety.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/Owned.h"

struct __CFRunLoopSource final : platform::cf::Object {
 public:
  // What is served before a loop waits, and what its wait brings.
  enum class Kind { kSignalled, kPort };

  __CFRunLoopSource(Kind sourceKind, CFIndex sourceOrder, const CFRunLoopSourceContext& context);
  ~__CFRunLoopSource() override;

  [[nodiscard]] std::u16string Description() const override;

  void AddTo(CFRunLoopRef loop, const std::u16string& mode);
  void RemoveFrom(CFRunLoopRef loop, const std::u16string& mode);
  void Invalidate();
  [[nodiscard]] bool IsValid() const { return valid_; }

  void Signal() { signalled_ = true; }
  [[nodiscard]] bool IsSignalled() const { return signalled_; }
  // On the thread of the loop. False when there is no signal any more.
  bool Perform();

  const Kind kind;
  const CFIndex order;

 private:
  const CFRunLoopSourceContext context_;
  std::atomic<bool> signalled_ = false;
  std::atomic<bool> valid_ = true;
  Lock lock_;
  std::vector<platform::cf::Owned<__CFRunLoop>> loops_ GUARDED_BY(lock_);  // one for each mode that it is in
};
