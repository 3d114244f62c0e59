// Facts about the machine and its system, from the system profiler.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

// What the profiler says for a data type ("SPHardwareDataType") in its first item under the keys of
// `keyPath`, each of which leads into the dictionary of the one before; the whole item for an empty path.
// Null when it does not say it or there is no profiler. The caller releases. Runs a program and waits for it;
// nothing is thrown.
CFTypeRef KCGetSystemProfilerInfo(CFStringRef dataType, CFArrayRef keyPath);
