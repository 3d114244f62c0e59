// Which root folder a program of the agent uses, by where it lies: so all programs of one installation meet.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include "common/StCFTypeRef.h"

// The root folder of the installation whose programs and bundles lie in `folder`: the folder above "bin", or
// `folder` itself when it has another name. Null for ".../Korvane/bin", where the default root holds.
[[nodiscard]] StCFTypeRef<CFURLRef> CopyStandAloneRoot(CFURLRef folder);

// Sets the root folder for programs in `folder` and logs it; leaves the default root where it holds. Comes
// before anything is looked up or logged.
void SettleRootFolder(CFURLRef folder);
