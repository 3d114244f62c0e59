// Starts the threads of this folder, which never see a signal.
#pragma once

namespace platform::x11 {

// Runs `work(argument)` on a detached thread with every signal blocked. `name`, at most 15 characters, is
// what debuggers and process tables show. False when there is no thread to be had.
[[nodiscard]] bool StartQuietThread(const char* name, void (*work)(void*), void* argument);

}  // namespace platform::x11
