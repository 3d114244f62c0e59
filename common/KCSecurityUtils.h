// Programs that are run directly, without the dispatcher.
//
// Any thread; nothing here throws.
#pragma once
#include <cstdint>

// Starts the program at an absolute path, as a task with this process's rights and environment. 0 once it
// runs; -50 when it cannot be started, and when it is not seen running within a minute.
int32_t KCExecuteWithPrivileges(const char* path);

// Makes this process root's, runs the command through the shell and returns its exit status; 255 for a null
// command. A process that cannot become root's runs the command as it is.
int32_t KCExecuteCommandlineAsRoot(const char* commandLine);
