#include "platform/corefoundation/RunLoopSource.h"

#include <utility>

#include "platform/corefoundation/RunLoopObject.h"
#include "platform/corefoundation/String.h"

using platform::cf::ModeName;
using platform::cf::Owned;
using platform::cf::Share;

__CFRunLoopSource::__CFRunLoopSource(Kind sourceKind, CFIndex sourceOrder,
                                     const CFRunLoopSourceContext& context)
    : Object(platform::cf::Type::kRunLoopSource),
      kind(sourceKind),
      order(sourceOrder),
      context_(platform::cf::WithInfoRetained(context)) {}

__CFRunLoopSource::~__CFRunLoopSource() {
  if (context_.release != nullptr) context_.release(context_.info);
}

std::u16string __CFRunLoopSource::Description() const {
  return platform::cf::Describe("CFRunLoopSource", this,
                                platform::cf::Widen("order = " + std::to_string(order)));
}

void __CFRunLoopSource::AddTo(CFRunLoopRef loop, const std::u16string& mode) {
  if (!IsValid() || !loop->Add(this, mode)) return;
  {
    const Locked held(lock_);
    loops_.push_back(Share(loop));
  }
  const Owned<const __CFString> name(platform::cf::CreateString(mode));
  if (context_.schedule != nullptr) context_.schedule(context_.info, loop, name.get());
  if (!IsValid()) RemoveFrom(loop, mode);  // invalidated meanwhile
}

void __CFRunLoopSource::RemoveFrom(CFRunLoopRef loop, const std::u16string& mode) {
  const Owned<__CFRunLoopSource> taken = loop->Take(this, mode);
  if (!taken) return;
  Owned<__CFRunLoop> dropped;
  {
    const Locked held(lock_);
    const auto found = std::find_if(loops_.begin(), loops_.end(),
                                    [loop](const Owned<__CFRunLoop>& entry) { return entry.get() == loop; });
    if (found != loops_.end()) {
      dropped = std::move(*found);
      loops_.erase(found);
    }
  }
  const Owned<const __CFString> name(platform::cf::CreateString(mode));
  if (context_.cancel != nullptr) context_.cancel(context_.info, loop, name.get());
}

void __CFRunLoopSource::Invalidate() {
  const Owned<__CFRunLoopSource> alive = Share(this);
  if (!valid_.exchange(false)) return;
  std::vector<Owned<__CFRunLoop>> loops;
  {
    const Locked held(lock_);
    for (const Owned<__CFRunLoop>& loop : loops_) loops.push_back(Share(loop.get()));
  }
  for (const Owned<__CFRunLoop>& loop : loops) {
    if (const auto mode = loop->ModeOf(this)) RemoveFrom(loop.get(), *mode);
    loop->WakeUp();  // it may have nothing more to wait for
  }
}

bool __CFRunLoopSource::Perform() {
  if (!signalled_.exchange(false) || !IsValid()) return false;
  if (context_.perform != nullptr) context_.perform(context_.info);
  return true;
}

extern "C" {

CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef, CFIndex order, CFRunLoopSourceContext* context) {
  if (context == nullptr || context->version != 0) return nullptr;
  return new __CFRunLoopSource(__CFRunLoopSource::Kind::kSignalled, order, *context);
}

void CFRunLoopSourceSignal(CFRunLoopSourceRef source) { source->Signal(); }

void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source) { source->Invalidate(); }

Boolean CFRunLoopSourceIsValid(CFRunLoopSourceRef source) { return source->IsValid(); }

void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode) {
  source->AddTo(loop, ModeName(mode));
}

void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode) {
  source->RemoveFrom(loop, ModeName(mode));
}

}  // extern "C"
