// Handles, resource forks and packed versions, as far as the system calls them.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/AppleEvents.h>

extern "C" {

using Ptr = char*;
using Handle = Ptr*;
using Size = long;
using ResType = OSType;
using ResFileRefNum = SInt16;

enum : OSErr {
  noErr = 0,
  ioErr = -36,
  eofErr = -39,
  tmfoErr = -42,
  fnfErr = -43,
  paramErr = -50,
  memFullErr = -108,
  resNotFound = -192,
  resFNotFound = -193,
  mapReadErr = -199
};
enum : SInt8 { fsRdPerm = 1 };

// Blocks of memory that could move unless locked; here they never do. Null when there is no memory.
Handle NewHandle(Size size);
void DisposeHandle(Handle handle);
Size GetHandleSize(Handle handle);
void HLock(Handle handle);
void HUnlock(Handle handle);
// Makes a handle with a copy of `size` bytes.
OSErr PtrToHand(const void* source, Handle* handle, Size size);

// A packed version, as a number 0xMMmbSSrr: major, minor and bug-fix (four bits each), stage, revision of
// what is no release.
struct NumVersion {
  UInt8 nonRelRev;
  UInt8 stage;
  UInt8 minorAndBugRev;
  UInt8 majorRev;
};

// A file, by its path.
struct FSRef {
  UInt8 path[4096];
};
// False when there is no such file.
Boolean CFURLGetFSRef(CFURLRef url, FSRef* file);

// Opens the resource fork of a file for reading and makes it the thread's current one. -1 when that fails;
// ResError then tells why: fnfErr there is no such file, eofErr it has no resource fork, mapReadErr the fork
// is damaged, ioErr it cannot be read.
ResFileRefNum FSOpenResFile(const FSRef* file, SInt8 permission);
// Its resources go with it.
void CloseResFile(ResFileRefNum file);
// The `index`th resource of a type in the current file, from 1; null when there is none. The file owns it.
// The numbers of a "vers" resource are in the machine's byte order.
Handle Get1IndResource(ResType type, SInt16 index);
// How the thread's last call of these functions went.
OSErr ResError();

}  // extern "C"
