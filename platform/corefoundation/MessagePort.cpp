#include "platform/corefoundation/MessagePort.h"

#include <utility>

#include "platform/corefoundation/MessagePortLocal.h"
#include "platform/corefoundation/MessagePortRemote.h"
#include "platform/corefoundation/MessagePortSocket.h"
#include "platform/corefoundation/String.h"

using platform::cf::LocalMessagePort;
using platform::cf::Owned;
using platform::cf::RemoteMessagePort;
using platform::cf::Share;

__CFMessagePort::__CFMessagePort(CFStringRef name, const CFMessagePortContext& context)
    : Object(platform::cf::Type::kMessagePort), name_(Share(name)), context_(context) {}

__CFMessagePort::~__CFMessagePort() {
  if (context_.release != nullptr) context_.release(context_.info);
}

std::u16string __CFMessagePort::Description() const {
  return platform::cf::Describe("CFMessagePort", this, u"name = " + name_->units);
}

void __CFMessagePort::Invalidate() {
  const Owned<__CFMessagePort> alive = Share(this);
  if (!valid_.exchange(false)) return;
  End();
  CFMessagePortInvalidationCallBack callback;
  {
    const Locked held(lock_);
    callback = std::exchange(invalidated_, nullptr);
  }
  if (callback != nullptr) callback(this, Info());
}

void __CFMessagePort::SetInvalidationCallBack(CFMessagePortInvalidationCallBack callback) {
  {
    const Locked held(lock_);
    if (valid_) invalidated_ = std::exchange(callback, nullptr);
  }
  if (callback != nullptr) callback(this, Info());
}

extern "C" {

CFMessagePortRef CFMessagePortCreateLocal(CFAllocatorRef, CFStringRef name, CFMessagePortCallBack callback,
                                          CFMessagePortContext* context, Boolean* shouldFreeInfo) {
  if (shouldFreeInfo != nullptr) *shouldFreeInfo = true;
  const std::optional<std::string> path = platform::cf::PortPath(name);
  if (!path) return nullptr;
  std::optional<platform::cf::PortListener> listener = platform::cf::ListenOnPort(*path);
  if (!listener) return nullptr;
  if (shouldFreeInfo != nullptr) *shouldFreeInfo = false;
  return new LocalMessagePort(name, callback, context != nullptr ? *context : CFMessagePortContext{},
                              std::move(*listener));
}

CFMessagePortRef CFMessagePortCreateRemote(CFAllocatorRef, CFStringRef name) {
  const std::optional<std::string> path = platform::cf::PortPath(name);
  return path ? RemoteMessagePort::Create(name, *path) : nullptr;
}

CFStringRef CFMessagePortGetName(CFMessagePortRef port) { return port->Name(); }

void CFMessagePortSetInvalidationCallBack(CFMessagePortRef port, CFMessagePortInvalidationCallBack callback) {
  port->SetInvalidationCallBack(callback);
}

void CFMessagePortInvalidate(CFMessagePortRef port) { port->Invalidate(); }

Boolean CFMessagePortIsValid(CFMessagePortRef port) { return port->IsValid(); }

CFRunLoopSourceRef CFMessagePortCreateRunLoopSource(CFAllocatorRef, CFMessagePortRef port, CFIndex order) {
  auto* const local = dynamic_cast<LocalMessagePort*>(port);
  return local != nullptr ? local->CopySource(order) : nullptr;
}

SInt32 CFMessagePortSendRequest(CFMessagePortRef port, SInt32 messageId, CFDataRef data,
                                CFTimeInterval sendTimeout, CFTimeInterval receiveTimeout,
                                CFStringRef replyMode, CFDataRef* reply) {
  auto* const remote = dynamic_cast<RemoteMessagePort*>(port);
  if (remote == nullptr) return kCFMessagePortIsInvalid;
  const Owned<__CFMessagePort> alive = Share(port);
  return remote->Send({messageId, data, sendTimeout, receiveTimeout, replyMode}, reply);
}

}  // extern "C"
