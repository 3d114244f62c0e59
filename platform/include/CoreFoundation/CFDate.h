// Moments in time.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

CFTypeID CFDateGetTypeID();
CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime at);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date);

// Now, by the system's clock.
CFAbsoluteTime CFAbsoluteTimeGetCurrent();

}  // extern "C"
