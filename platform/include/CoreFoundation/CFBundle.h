// The bundle that the running program lies in.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

CFTypeID CFBundleGetTypeID();

// Borrowed. The folder NAME.app when the executable is NAME.app/Contents/MacOS/PROGRAM, else the executable's
// folder.
CFBundleRef CFBundleGetMainBundle();
CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);

}  // extern "C"
