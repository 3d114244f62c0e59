// Reading a file as a stream of bytes.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

// Null for a URL that is no file's.
CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef allocator, CFURLRef url);
// False when the file cannot be read.
Boolean CFReadStreamOpen(CFReadStreamRef stream);
// The number of bytes read, 0 at the end, -1 for an error or a stream that is not open.
CFIndex CFReadStreamRead(CFReadStreamRef stream, UInt8* buffer, CFIndex size);
void CFReadStreamClose(CFReadStreamRef stream);

}  // extern "C"
