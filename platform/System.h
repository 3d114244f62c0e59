// What the system needs of its machine that has no portable name. One implementation a machine.
//
// Any thread, unless said otherwise. Nothing here throws.
#pragma once
#include <CoreGraphics/CGGeometry.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Handles.h"

namespace platform {

// ---- the process
// -----------------------------------------------------------------------------------------------

// Ends the process through exit(status). Of several callers the first one wins and the others wait for the
// end, so the exit handlers run once and undisturbed; called by an exit handler, it goes on with the next
// one. A thread that an exit handler joins must not call it. Everything that waits inside the platform layer
// is woken and fails.
[[noreturn]] void Exit(int status);

// The running executable, absolute, links resolved; empty when it cannot be told.
std::string ExecutablePath();

// Stops in the debugger that is attached; ends the process when there is none.
void DebuggerBreak();

// ---- other processes
// -------------------------------------------------------------------------------------------

// The kernel's short name of a process; where the kernel cuts names at 15 characters, up to 16 of the
// executable's file name. Nothing when there is no such process.
std::optional<std::string> ProcessShortName(pid_t pid);
// The real user ID.
std::optional<uid_t> ProcessOwner(pid_t pid);

// The kernel started over the network.
bool NetBootFlag();

// ---- files
// -----------------------------------------------------------------------------------------------------

// The folder for the user's own sockets and shared files, with a trailing separator. Private to the user: a
// shared one that belongs to someone else is refused, and the result is then empty (the reason is logged to
// the console).
std::string UserTemporaryFolder();

// Makes the folder and every folder above it that is missing, with default permissions. True when it is
// there.
bool CreateFolders(const std::string& path);

// When the file was made, in seconds since 1970; where the file system does not keep that, its last change.
// Nothing when there is no such file.
std::optional<double> FileCreationTime(const std::string& path);

// Reserves the blocks of the first `length` bytes, so that writing them through a map cannot fail. 0 or an
// errno value.
int ReserveFileBlocks(int fd, int64_t length);

// Which settings could not be read or written as they should, and why; empty while all is well. The console
// was told the same.
std::string PreferencesTrouble();

// ---- the system's own description
// -------------------------------------------------------------------------------------

// Where the system describes itself; an empty path: it does not.
struct SystemFiles {
  std::string version;        // a property list with "ProductName" and "ProductVersion"
  std::string serverVersion;  // the same, of a server release only
  std::string profiler;       // a program that prints a property list: PROFILER -xml DATATYPE
};
SystemFiles GetSystemFiles();
// Other ones in their place, from now on and for this process.
void SetSystemFiles(SystemFiles files);

// The languages that the user's environment asks for, best first, as "de-CH" or "zh-Hans-CN"; none when it
// asks for none.
std::vector<std::string> PreferredLanguages();

// ---- sockets
// ---------------------------------------------------------------------------------------------------

// Fills `address` for a stream socket at `path`, of which at most 104 bytes are taken, and returns the length
// for bind and connect.
socklen_t MakeLocalAddress(const std::string& path, sockaddr_storage& address);

// A write to a peer that is gone fails with EPIPE and raises no signal. 0 or an errno value.
int DisableSigPipe(int socket);
// The flags that a send on such a socket takes.
int SendFlags();

// ---- time and messages
// -----------------------------------------------------------------------------------------

// Monotonic time in ticks; nanoseconds = ticks * numerator / denominator.
uint64_t HostTicks();
struct HostTimebase {
  uint32_t numerator;
  uint32_t denominator;
};
HostTimebase GetHostTimebase();

// pthread_cond_timedwait with a time from now on, which changes of the wall clock do not touch: 0, ETIMEDOUT
// or another errno value. The thread can be cancelled in it.
int ConditionWaitRelative(pthread_cond_t* condition, pthread_mutex_t* mutex, int64_t nanoseconds);

// Writes a line of a log with a single write, so that lines of several threads and processes never mix. A
// reader that has gone or stands still costs the line, and neither ends the writer nor holds it up. True when
// all of it was written.
bool WriteLine(int fd, std::string_view line);

// One line to the system log and to standard error, as the platform's console logging does it.
void ConsoleLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
// For a program whose standard error belongs to the person who runs it: false keeps the lines to the system
// log.
void EchoConsoleLog(bool toStandardError);

// ---- the session
// -----------------------------------------------------------------------------------------------

// What an engineer asks first, in one line: the display and its server, the extensions found and missing, the
// monitors; or why there is no display (none named, not reachable, a Wayland session without an X server).
std::string DescribeSession();

// Why the session is over while the process still runs: the display's server has gone away. Empty otherwise.
std::string SessionLoss();

// Posts the Apple event that asks this application to quit: its handler for that one, if there is any, runs
// on the main loop.
void PostQuitEvent();

// Where the pointer is, as AppKit tells it: x as on the desktop, y upwards from the main display's lower
// edge. Nothing without a window server.
std::optional<CGPoint> PointerLocation();

}  // namespace platform

extern "C" {

// Runs the main thread's run loop until the process ends. Needs the session's window server: without one, and
// when it goes away, one line says so and the process ends with status 1 through platform::Exit. (AppKit's
// own header cannot be read by a C++ compiler.)
int NSApplicationMain(int argc, const char* argv[]);
}
