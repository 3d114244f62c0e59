// Handles and resource forks, as far as the system calls them.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

extern "C" {

using OSErr = SInt16;
using Ptr = char*;
using Handle = Ptr*;
using Size = long;
using ResType = UInt32;  // four characters
using ResFileRefNum = SInt16;

enum : OSErr {
  noErr = 0,
  memFullErr = -108,
  nilHandleErr = -109,
  resNotFound = -192,
  eofErr = -39,
  fnfErr = -43
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

// A file, by its path.
struct FSRef {
  UInt8 path[4096];
};
Boolean CFURLGetFSRef(CFURLRef url, FSRef* file);

// Opens the resource fork of a file and makes it the current one; -1 when there is none (ResError tells why).
ResFileRefNum FSOpenResFile(const FSRef* file, SInt8 permission);
void CloseResFile(ResFileRefNum file);
// The `index`th resource of a type in the current file, from 1; null when there is none. The file owns it.
Handle Get1IndResource(ResType type, SInt16 index);
OSErr ResError();

}  // extern "C"
