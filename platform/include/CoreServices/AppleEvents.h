// Handlers of Apple events, as far as the system calls them. platform::PostQuitEvent posts one.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

using AEEventClass = OSType;
using AEEventID = OSType;
using DescType = OSType;
using SRefCon = void*;

// Always without data.
struct AEDesc {
  DescType descriptorType;
  struct OpaqueAEDataStorageType** dataHandle;
};
using AppleEvent = AEDesc;

enum : AEEventClass { kCoreEventClass = 0x61657674 };  // 'aevt'
enum : AEEventID { kAEQuitApplication = 0x71756974 };  // 'quit'
enum : DescType { typeNull = 0x6e756c6c };             // 'null'
enum : DescType { typeAppleEvent = kCoreEventClass };

using AEEventHandlerProcPtr = OSErr (*)(const AppleEvent* event, AppleEvent* reply, SRefCon refcon);
using AEEventHandlerUPP = AEEventHandlerProcPtr;

AEEventHandlerUPP NewAEEventHandlerUPP(AEEventHandlerProcPtr userRoutine);
// Called on the main loop. One handler for a class and an ID: it takes the place of the one before. paramErr
// for a null handler.
OSErr AEInstallEventHandler(AEEventClass eventClass, AEEventID eventID, AEEventHandlerUPP handler,
                            SRefCon refcon, Boolean isSystemHandler);

}  // extern "C"
