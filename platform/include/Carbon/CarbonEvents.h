// The application's events, and timers of its main loop, as far as the system calls them. Any thread; what is
// installed is called on the main loop.
#pragma once
#include <CoreServices/CoreServices.h>

extern "C" {

using ItemCount = unsigned long;

enum : OSStatus { eventNotHandledErr = -9874 };

// ---- timers

using EventLoopRef = struct OpaqueEventLoop*;
using EventLoopTimerRef = struct __EventLoopTimer*;
using EventTimerInterval = double;  // in seconds
using EventLoopTimerProcPtr = void (*)(EventLoopTimerRef timer, void* userData);
using EventLoopTimerUPP = EventLoopTimerProcPtr;

EventLoopRef GetMainEventLoop();
EventLoopTimerUPP NewEventLoopTimerUPP(EventLoopTimerProcPtr userRoutine);
// Fires after `fireDelay` and then at every `interval`; an interval of 0 fires once. The timer lasts until it
// is removed, also when it will not fire any more. paramErr for a null loop, function or result.
OSStatus InstallEventLoopTimer(EventLoopRef loop, EventTimerInterval fireDelay, EventTimerInterval interval,
                               EventLoopTimerUPP function, void* userData, EventLoopTimerRef* timer);
// When it returns the function does not run and never will again (called from inside it: after that call).
OSStatus RemoveEventLoopTimer(EventLoopTimerRef timer);

// ---- events

using EventRef = struct __Event*;
using EventQueueRef = struct OpaqueEventQueue*;
using EventTime = double;
using EventAttributes = UInt32;
using EventPriority = SInt16;
enum : EventAttributes { kEventAttributeNone = 0 };
enum : EventPriority { kEventPriorityStandard = 1 };

enum : OSType { kEventClassSystem = 0x6d616373 };  // 'macs'
enum : UInt32 { kEventSystemUserSessionActivated = 10, kEventSystemUserSessionDeactivated = 11 };

// No attributes. The caller releases.
OSStatus CreateEvent(CFAllocatorRef allocator, OSType eventClass, UInt32 kind, EventTime when,
                     EventAttributes attributes, EventRef* event);
void ReleaseEvent(EventRef event);
OSType GetEventClass(EventRef event);
UInt32 GetEventKind(EventRef event);

EventQueueRef GetMainEventQueue();
// The queue keeps the event until it was served, in the order of posting; all are of the standard priority.
OSStatus PostEventToQueue(EventQueueRef queue, EventRef event, EventPriority priority);

// ---- handlers

struct EventTypeSpec {
  OSType eventClass;
  UInt32 eventKind;
};
using EventHandlerRef = struct __EventHandler*;
using EventHandlerCallRef = struct OpaqueEventHandlerCall*;
// noErr; eventNotHandledErr when others shall handle the event, too. The call is null.
using EventHandlerProcPtr = OSStatus (*)(EventHandlerCallRef call, EventRef event, void* userData);
using EventHandlerUPP = EventHandlerProcPtr;

EventHandlerUPP NewEventHandlerUPP(EventHandlerProcPtr userRoutine);
// Of several handlers for a type the last one is asked first. It lasts as long as the process; `handler` may
// be null. paramErr for a null function or list. The session events come from the session manager, if there
// is one.
OSStatus InstallApplicationEventHandler(EventHandlerUPP function, ItemCount count, const EventTypeSpec* types,
                                        void* userData, EventHandlerRef* handler);

}  // extern "C"
