// Whether the kernel's command line names a root file system on the network.
#pragma once
#include <string_view>

namespace platform {

bool NamesNetworkRoot(std::string_view kernelCommandLine);

}  // namespace platform
