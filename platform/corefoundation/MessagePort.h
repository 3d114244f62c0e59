// A message port, local or remote: its name and its end.
#pragma once
#include <CoreFoundation/CFMessagePort.h>

#include <atomic>
#include <string>

#include "platform/ThreadSafety.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/Owned.h"

struct __CFMessagePort : public platform::cf::Object {
 public:
  [[nodiscard]] std::u16string Description() const override;
  [[nodiscard]] CFStringRef Name() const { return name_.get(); }

  // Any thread: ends the port once, then calls back.
  void Invalidate();
  [[nodiscard]] virtual bool IsValid() { return valid_; }
  // Called at once when the port has ended already.
  void SetInvalidationCallBack(CFMessagePortInvalidationCallBack callback);

 protected:
  // Retains the name and takes over the context, whose info is retained already.
  __CFMessagePort(CFStringRef name, const CFMessagePortContext& context);
  ~__CFMessagePort() override;

  // Lets sockets and sources go.
  virtual void End() = 0;
  void* Info() const { return context_.info; }

 private:
  const platform::cf::Owned<const __CFString> name_;
  const CFMessagePortContext context_;
  std::atomic<bool> valid_ = true;
  Lock lock_;
  CFMessagePortInvalidationCallBack invalidated_ GUARDED_BY(lock_) = nullptr;
};
