// Process-ID files: how the agent's programs find, check and signal one another. Also: whose console this is,
// and whether the machine was started over the network.
//
// A file "FOLDER/KEY.pid" holds the PID in decimal, without a newline. 0 means no process. Names of processes
// count with their first 16 bytes. A null folder means the agent's PID folder; the functions
// "WithConsoleUser" take the folder in it that is named after the user, where a null user means the console
// user. Nothing here throws.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>

#include <cstddef>

// The size of a buffer for a process's name with its NUL.
inline constexpr size_t kKCProcessNameSize = 17;

// Record the caller's PID; a file that cannot be written is left out silently. The folder is made when only
// itself is missing. A parent named "kvdaemon" is then sent SIGTERM: it waits only until its child has
// recorded itself.
void KCPutProcessPIDInFile(const char* folder, const char* key);
void KCPutPIDForKeyToFile(const char* key, const char* folder);
void KCPutPIDForKeyToFileWithConsoleUser(const char* key, CFStringRef user);

// The recorded PID; 0 when there is no file, no number in it, or no process of that PID and name (the latter
// two expect the key as the name). Never changes the file.
pid_t KCGetProcessPIDInFile(const char* folder, const char* key, const char* expectedName);
pid_t KCGetPIDForKeyFromFile(const char* key, const char* folder);
pid_t KCGetPIDForKeyFromFileWithConsoleUser(const char* key, CFStringRef user);

// The result of unlink.
int KCDeletePIDForKeyFile(const char* key, const char* folder);
int KCDeletePIDForKeyFileWithConsoleUser(const char* key, CFStringRef user);

// The process lives and has that name.
bool KCVerifyPIDForKeyFile(pid_t pid, const char* expectedName);

// Writes the path of the user's PID folder, cut to `size` bytes with its NUL. Makes no folder.
void KCCreateFileDirectoryWithConsoleUser(CFStringRef user, char* buffer, size_t size);

// Fills `name` (kKCProcessNameSize bytes) and returns it; empties it and returns null when there is no such
// process.
char* KCGetProcessNameForPID(pid_t pid, char* name);

// The full name in the account of the process's real user; null when there is none. Borrowed from the account
// database until the next call.
const char* KCGetUserNameForPID(pid_t pid);

// Searches the process list for `name`; the result is always 0. Programs use the files.
pid_t KCGetPIDForKey(const char* name);

// True when the process was found and the signal was sent; a failure to send is logged.
bool KCSignalProcessByPid(pid_t pid, int signal);
bool KCSignalProcessByName(const char* key, int signal);
bool KCSignalProcessByNameWithConsoleUser(const char* key, CFStringRef user, int signal);

// The login name of the console's user, "loginwindow" when there is none. The caller releases.
CFStringRef KCCopyConsoleUser();
// Always null.
CFStringRef KCCopySessionUser();

// The kernel says so, or the environment variable KORVANE_PROVISIONING_NETBOOTED is "TRUE" in any case.
bool KCIsNetBooted();
