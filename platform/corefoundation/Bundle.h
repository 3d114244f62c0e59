// Where the bundle of an executable lies.
#pragma once
#include <string>

namespace platform::cf {

// NAME.app for NAME.app/Contents/MacOS/PROGRAM, else the folder of the executable. `executable` is absolute.
std::string BundleFolder(const std::string& executable);

}  // namespace platform::cf
