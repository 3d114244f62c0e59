// A folder under a name that everybody could have taken.
#pragma once
#include <string>

namespace platform {

// Makes `path` a folder that only its user can enter, or takes the one that is there. False, with a line on
// the console that says why, when it belongs to someone else, is a link or no folder, or is open to others.
bool ClaimPrivateFolder(const std::string& path);

}  // namespace platform
