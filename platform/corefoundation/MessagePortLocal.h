// A message port of this process: answers requests on the run loop that its source was added to.
#pragma once
#include <memory>

#include "platform/corefoundation/MessagePort.h"
#include "platform/corefoundation/MessagePortServer.h"

namespace platform::cf {

// Its source retains it, and it retains its source, until it is invalidated.
class LocalMessagePort final : public __CFMessagePort {
 public:
  LocalMessagePort(CFStringRef name, CFMessagePortCallBack callback, const CFMessagePortContext& context,
                   PortListener listener);

  // The one source, made at the first call; null when the port has ended. The caller releases.
  [[nodiscard]] CFRunLoopSourceRef CopySource(CFIndex order);

 protected:
  void End() override;

 private:
  ~LocalMessagePort() override;
  // Answers one request.
  void Perform();

  const CFMessagePortCallBack callback_;
  const std::shared_ptr<MessagePortServer> server_;
  Lock sourceLock_;
  Owned<__CFRunLoopSource> source_ GUARDED_BY(sourceLock_);
};

}  // namespace platform::cf
