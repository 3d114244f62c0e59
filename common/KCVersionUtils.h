// Packed versions: to and from text, of bundles and applications, and which of two is later.
//
// The versions of the system and of the agent's tools, and the system's profile, have headers of their own,
// which this one brings along. Any thread; nothing here throws.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include <cstdint>

#include "common/KCSystemProfile.h"
#include "common/KCSystemVersion.h"
#include "common/KCToolVersion.h"

// Stages of a packed version.
enum : UInt8 { kStageDevelopment = 0x20, kStageAlpha = 0x40, kStageBeta = 0x60, kStageFinal = 0x80 };

// What a version is when nothing tells it.
inline NumVersion KCGetDefaultNumVersion() { return MakeNumVersion(0x0A100800); }
inline CFStringRef KCGetDefaultStringVersion() { return CFSTR("\"\""); }
inline CFStringRef KCGetDefaultBuildVersion() { return CFSTR("1"); }

// "1.2.3", or "1.2.3b4" before the release. The caller releases.
CFStringRef KCCFStringCreateWithNumVersion(NumVersion version);

// Reads "1.2.3" and "1.2.3b4"; what is missing is 0. Not the reverse of the function above: the stage becomes
// the letter itself, which is no stage code, and is 0 where there is no letter.
void KCCreateNumVersionWithCFString(CFStringRef text, NumVersion* version);

// "CFBundleShortVersionString" of the bundle's information; false, and null, when there is none. The string
// is borrowed from the bundle.
bool KCGetBundleVersion(CFBundleRef bundle, NumVersion* version);
CFStringRef KCGetBundleVersionString(CFBundleRef bundle);

// What the resource fork of an application tells: the packed version and the region of its "vers" resource,
// and the version of the property list in its "plst" resource, which replaces the former packed one. False
// when neither is there; what is not told is null or 0. The caller releases the text.
bool KCGetApplicationVersion(CFURLRef url, CFStringRef* text, NumVersion* version, SInt16* region);

// All four compare the first 16 bits of a version as it is stored, the stage and the revision before a
// release, and nothing else. The range includes its ends.
bool KCVersionInRange(NumVersion version, NumVersion low, NumVersion high);
bool KCVersionLessThan(NumVersion a, NumVersion b);
bool KCVersionLessThanEqual(NumVersion a, NumVersion b);
// True also of equal versions.
bool KCVersionGreaterThan(NumVersion a, NumVersion b);
