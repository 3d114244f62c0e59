// The application's events: who posts them, who handles them.
#include <Carbon/CarbonEvents.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/ThreadSafety.h"
#include "platform/carbon/MainQueue.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/Owned.h"
#include "platform/linux/SessionActivity.h"

using platform::carbon::MainQueue;
using platform::cf::Owned;
using platform::cf::Share;

struct __Event final : platform::cf::Object {
  __Event(OSType eventClass, UInt32 eventKind)
      : Object(platform::cf::Type::kEvent), type{eventClass, eventKind} {}

  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("Event", this, u"");
  }

  const EventTypeSpec type;
};

struct __EventHandler final : platform::cf::Object {
 public:
  __EventHandler(EventHandlerUPP function, std::vector<EventTypeSpec> types, void* userData)
      : Object(platform::cf::Type::kEventHandler),
        function_(function),
        types_(std::move(types)),
        userData_(userData) {}

  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("EventHandler", this, u"");
  }

  [[nodiscard]] bool Handles(const EventTypeSpec& type) const {
    return std::any_of(types_.begin(), types_.end(), [&type](const EventTypeSpec& own) {
      return own.eventClass == type.eventClass && own.eventKind == type.eventKind;
    });
  }
  OSStatus Handle(EventRef event) const { return function_(nullptr, event, userData_); }

 private:
  const EventHandlerUPP function_;
  const std::vector<EventTypeSpec> types_;
  void* const userData_;
};

namespace {

// Any thread; the last one first.
class Handlers {
 public:
  static Handlers& Instance() {
    static Handlers* const instance = new Handlers;
    return *instance;
  }

  void Add(Owned<__EventHandler> handler) EXCLUDES(lock_) {
    const Locked held(lock_);
    handlers_.insert(handlers_.begin(), std::move(handler));
  }
  // Those that handle the type now.
  [[nodiscard]] std::vector<Owned<__EventHandler>> For(const EventTypeSpec& type) EXCLUDES(lock_) {
    const Locked held(lock_);
    std::vector<Owned<__EventHandler>> found;
    for (const auto& handler : handlers_) {
      if (handler->Handles(type)) found.push_back(Share(handler.get()));
    }
    return found;
  }

 private:
  Lock lock_;
  std::vector<Owned<__EventHandler>> handlers_ GUARDED_BY(lock_);
};

void Dispatch(EventRef event) {
  for (const auto& handler : Handlers::Instance().For(event->type)) {
    if (handler->Handle(event) != eventNotHandledErr) return;
  }
}

void PostSessionEvent(bool active) {
  const Owned<__Event> event(new __Event(
      kEventClassSystem, active ? kEventSystemUserSessionActivated : kEventSystemUserSessionDeactivated));
  (void)PostEventToQueue(GetMainEventQueue(), event.get(), kEventPriorityStandard);
}

void FollowSession() {
  static std::once_flag following;
  std::call_once(following, [] { platform::FollowSessionActivity(PostSessionEvent); });
}

bool IsSessionEvent(const EventTypeSpec& type) {
  return type.eventClass == kEventClassSystem && (type.eventKind == kEventSystemUserSessionActivated ||
                                                  type.eventKind == kEventSystemUserSessionDeactivated);
}

}  // namespace

OSStatus CreateEvent(CFAllocatorRef, OSType eventClass, UInt32 kind, EventTime, EventAttributes,
                     EventRef* event) {
  if (event == nullptr) return paramErr;
  *event = new __Event(eventClass, kind);
  return noErr;
}

void ReleaseEvent(EventRef event) { event->Release(); }
OSType GetEventClass(EventRef event) { return event->type.eventClass; }
UInt32 GetEventKind(EventRef event) { return event->type.eventKind; }

EventQueueRef GetMainEventQueue() { return reinterpret_cast<EventQueueRef>(&MainQueue::Instance()); }

OSStatus PostEventToQueue(EventQueueRef queue, EventRef event, EventPriority) {
  if (queue == nullptr || event == nullptr) return paramErr;
  event->Retain();
  reinterpret_cast<MainQueue*>(queue)->Post([event] {
    const Owned<__Event> queued(event);
    Dispatch(event);
  });
  return noErr;
}

EventHandlerUPP NewEventHandlerUPP(EventHandlerProcPtr userRoutine) { return userRoutine; }

OSStatus InstallApplicationEventHandler(EventHandlerUPP function, ItemCount count, const EventTypeSpec* types,
                                        void* userData, EventHandlerRef* handler) {
  if (function == nullptr || types == nullptr) return paramErr;
  Owned<__EventHandler> made(
      new __EventHandler(function, std::vector<EventTypeSpec>(types, types + count), userData));
  if (handler != nullptr) *handler = made.get();
  Handlers::Instance().Add(std::move(made));
  if (std::any_of(types, types + count, IsSessionEvent)) FollowSession();
  return noErr;
}
