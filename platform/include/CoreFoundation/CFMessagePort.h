// Named message ports between processes of one machine.
//
// Any thread. Threads that share a remote port take turns.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

enum : SInt32 {
  kCFMessagePortSuccess = 0,
  kCFMessagePortSendTimeout = -1,
  kCFMessagePortReceiveTimeout = -2,
  kCFMessagePortIsInvalid = -3,
  kCFMessagePortTransportError = -4,
  kCFMessagePortBecameInvalidError = -5
};

// `copyDescription` is not called.
struct CFMessagePortContext {
  CFIndex version;  // 0
  void* info;
  const void* (*retain)(const void* info);
  void (*release)(const void* info);
  CFStringRef (*copyDescription)(const void* info);
};

// Answers a request on the run loop that its port's source was added to. `data` is borrowed, and null for a
// request without bytes; the reply, which may be null, is released by the platform.
using CFMessagePortCallBack = CFDataRef (*)(CFMessagePortRef local, SInt32 messageId, CFDataRef data,
                                            void* info);
using CFMessagePortInvalidationCallBack = void (*)(CFMessagePortRef port, void* info);

// Null when a living server has the name, also one of this process, or when it is no name for a file.
// `shouldFreeInfo` may be null.
CFMessagePortRef CFMessagePortCreateLocal(CFAllocatorRef allocator, CFStringRef name,
                                          CFMessagePortCallBack callback, CFMessagePortContext* context,
                                          Boolean* shouldFreeInfo);
// Null when there is no port of that name.
CFMessagePortRef CFMessagePortCreateRemote(CFAllocatorRef allocator, CFStringRef name);

// Borrowed.
CFStringRef CFMessagePortGetName(CFMessagePortRef port);
void CFMessagePortSetInvalidationCallBack(CFMessagePortRef port, CFMessagePortInvalidationCallBack callback);
// Ends the port and its sources and calls the invalidation callback, once.
void CFMessagePortInvalidate(CFMessagePortRef port);
Boolean CFMessagePortIsValid(CFMessagePortRef port);

// Where requests of a local port are answered; one a port, for one loop. The port lives with it until it is
// invalidated. The caller releases.
CFRunLoopSourceRef CFMessagePortCreateRunLoopSource(CFAllocatorRef allocator, CFMessagePortRef local,
                                                    CFIndex order);

// Sends and, when `replyMode` is not null, waits for the reply while the calling thread's run loop runs in
// that mode. Time-outs in seconds. `data` and `reply` may be null; the caller releases the reply, which is
// null when the other side had none to give. At most 64 MiB either way.
SInt32 CFMessagePortSendRequest(CFMessagePortRef remote, SInt32 messageId, CFDataRef data,
                                CFTimeInterval sendTimeout, CFTimeInterval receiveTimeout,
                                CFStringRef replyMode, CFDataRef* reply);

}  // extern "C"
