// Apple events that come to this application, and their handlers.
#include <CoreServices/CoreServices.h>

#include <map>
#include <optional>
#include <utility>

#include "platform/System.h"
#include "platform/ThreadSafety.h"
#include "platform/carbon/MainQueue.h"

namespace platform::carbon {
namespace {

struct Handler {
  AEEventHandlerUPP function = nullptr;
  SRefCon refcon = nullptr;
};

// Any thread.
class Handlers {
 public:
  using Key = std::pair<AEEventClass, AEEventID>;

  static Handlers& Instance() {
    static Handlers* const instance = new Handlers;
    return *instance;
  }

  void Set(const Key& key, const Handler& handler) EXCLUDES(lock_) {
    const Locked held(lock_);
    handlers_[key] = handler;
  }
  [[nodiscard]] std::optional<Handler> Find(const Key& key) EXCLUDES(lock_) {
    const Locked held(lock_);
    const auto found = handlers_.find(key);
    return found == handlers_.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  Lock lock_;
  std::map<Key, Handler> handlers_ GUARDED_BY(lock_);
};

void Dispatch(const Handlers::Key& key) {
  const AppleEvent event{typeAppleEvent, nullptr};
  AppleEvent reply{typeNull, nullptr};
  if (const auto handler = Handlers::Instance().Find(key)) handler->function(&event, &reply, handler->refcon);
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
  Handlers::Instance().Set({eventClass, eventID}, {handler, refcon});
  return noErr;
}
