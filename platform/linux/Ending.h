// The end of the process, for those who wait for something else.
#pragma once

namespace platform {

// Becomes readable, and stays so, when Exit() has been called. The descriptor is the process's own and is
// never read or closed; -1 when the system had none to give.
int EndingFd();

}  // namespace platform
