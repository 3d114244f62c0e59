// Apple events that come to this application, and their handlers.
#include <CoreServices/CoreServices.h>

#include <map>
#include <memory>
#include <utility>

#include "platform/System.h"
#include "platform/ThreadSafety.h"
#include "platform/carbon/Callout.h"
#include "platform/carbon/MainQueue.h"

namespace platform::carbon {
namespace {

struct Handler {
  Handler(AEEventHandlerUPP called, SRefCon context) : function(called), refcon(context) {}

  AEEventHandlerUPP function;
  SRefCon refcon;
  Callout callout = {};
};

// Any thread.
class Handlers {
 public:
  using Key = std::pair<AEEventClass, AEEventID>;

  static Handlers& Instance() {
    static Handlers* const instance = new Handlers;
    return *instance;
  }

  // All return the handler that was there; null when there was none.
  std::shared_ptr<Handler> Replace(const Key& key, std::shared_ptr<Handler> handler) EXCLUDES(lock_) {
    const Locked held(lock_);
    std::swap(handlers_[key], handler);
    return handler;
  }
  [[nodiscard]] std::shared_ptr<Handler> Find(const Key& key) EXCLUDES(lock_) {
    const Locked held(lock_);
    const auto found = handlers_.find(key);
    return found == handlers_.end() ? nullptr : found->second;
  }
  std::shared_ptr<Handler> Take(const Key& key, AEEventHandlerUPP function) EXCLUDES(lock_) {
    const Locked held(lock_);
    const auto found = handlers_.find(key);
    if (found == handlers_.end() || found->second->function != function) return nullptr;
    return std::move(handlers_.extract(found).mapped());
  }

 private:
  Lock lock_;
  std::map<Key, std::shared_ptr<Handler>> handlers_ GUARDED_BY(lock_);
};

void Dispatch(const Handlers::Key& key) {
  const std::shared_ptr<Handler> handler = Handlers::Instance().Find(key);
  if (!handler) return;
  const AppleEvent event{typeAppleEvent, nullptr};
  AppleEvent reply{typeNull, nullptr};
  if (const Callout::Turn turn(handler->callout); turn) handler->function(&event, &reply, handler->refcon);
}

}  // namespace
}  // namespace platform::carbon

using namespace platform::carbon;

void platform::PostQuitEvent() {
  MainQueue::Instance().Post([] { Dispatch({kCoreEventClass, kAEQuitApplication}); });
}

AEEventHandlerUPP NewAEEventHandlerUPP(AEEventHandlerProcPtr userRoutine) { return userRoutine; }

OSErr AEInstallEventHandler(AEEventClass eventClass, AEEventID eventID, AEEventHandlerUPP handler,
                            SRefCon refcon, Boolean) {
  if (handler == nullptr) return paramErr;
  const auto made = std::make_shared<Handler>(handler, refcon);
  if (const auto before = Handlers::Instance().Replace({eventClass, eventID}, made)) before->callout.End();
  return noErr;
}

OSErr AERemoveEventHandler(AEEventClass eventClass, AEEventID eventID, AEEventHandlerUPP handler, Boolean) {
  const auto taken = Handlers::Instance().Take({eventClass, eventID}, handler);
  if (!taken) return errAEHandlerNotFound;
  taken->callout.End();
  return noErr;
}
