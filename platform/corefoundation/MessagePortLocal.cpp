#include "platform/corefoundation/MessagePortLocal.h"

#include <utility>

#include "platform/corefoundation/RunLoopSource.h"
#include "platform/corefoundation/String.h"

namespace platform::cf {

LocalMessagePort::LocalMessagePort(CFStringRef name, CFMessagePortCallBack callback,
                                   const CFMessagePortContext& context, PortListener listener)
    : __CFMessagePort(name, WithInfoRetained(context)),
      callback_(callback),
      server_(std::make_shared<MessagePortServer>(std::move(listener))) {}

LocalMessagePort::~LocalMessagePort() { server_->Close(); }

CFRunLoopSourceRef LocalMessagePort::CopySource(CFIndex order) {
  if (!IsValid()) return nullptr;
  CFRunLoopSourceContext context{};
  context.info = this;
  context.retain = CFRetain;
  context.release = CFRelease;
  context.schedule = [](void* info, CFRunLoopRef loop, CFStringRef) {
    static_cast<LocalMessagePort*>(info)->server_->Attach(loop);
  };
  context.cancel = [](void* info, CFRunLoopRef loop, CFStringRef) {
    static_cast<LocalMessagePort*>(info)->server_->Detach(loop);
  };
  context.perform = [](void* info) { static_cast<LocalMessagePort*>(info)->Perform(); };

  const Locked held(sourceLock_);
  if (!source_) {
    source_.reset(new __CFRunLoopSource(__CFRunLoopSource::Kind::kPort, order, context));
    server_->SetSource(source_.get());
  }
  return Share(source_.get()).release();
}

void LocalMessagePort::Perform() {
  const std::optional<MessagePortServer::Pending> pending = server_->Take();
  if (!pending) return;
  const Owned<const __CFData> reply(
      callback_ != nullptr ? callback_(this, pending->request.id, pending->request.data.get(), Info())
                           : nullptr);
  server_->Finish(*pending, reply.get());
}

void LocalMessagePort::End() {
  server_->Close();
  Owned<__CFRunLoopSource> source;
  {
    const Locked held(sourceLock_);
    source = std::move(source_);
  }
  if (source) source->Invalidate();
}

}  // namespace platform::cf
