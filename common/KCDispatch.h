// Launch requests to the agent's process dispatcher, which starts programs where their caller may not: as
// root, in the session of the user at the console, at the login window.
//
// Any thread; calls share nothing. A result is the dispatcher's (0 or more: the program's exit status, or 128
// and the signal that ended it; negative: the dispatcher refused), or -1 when the request could not be made
// or nobody answered in time. A call that waits for the program's end, or for its output, waits without
// limit. Nothing here throws.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <cstdint>
#include <functional>

// Where the program runs. Each has an endpoint of the dispatcher; all but kKVLaunchContextUsr need the
// dispatcher's secret, which only root can read. Any other value stands for the user's endpoint, with the
// secret.
enum KVLaunchContext : int32_t {
  kKVLaunchContextSys = 0,    // root, without a session
  kKVLaunchContextUsr = 1,    // the user at the console, in that session
  kKVLaunchContextLogin = 2,  // root, at the login window
  kKVLaunchContextSusr = 3    // root, in the session of the user at the console
};

// Takes a piece of the program's output, borrowed for the call.
using KVDataBlock = std::function<void(CFStringRef)>;

// What the dispatcher may take for its first reply, in milliseconds; 10000 unless a test shortens it.
extern std::atomic<int> gLaunchReplyTimeoutMs;

// A command line is UTF-8: the program and its parameters, separated by single blanks, with quotes and
// backslashes (copyQuotedSectionFromString). The first two return as soon as the program was started.
int32_t KCLaunch(const char* commandLine, KVLaunchContext context);
// `pid` becomes 0 when nothing was started.
int32_t KCLaunchAndGetPID(const char* commandLine, KVLaunchContext context, int* pid);
int32_t KCLaunchAndWait(const char* commandLine, KVLaunchContext context);
// The block gets the output as it comes, errors included.
int32_t KCLaunchAndReadWithBlock(const char* commandLine, KVLaunchContext context, const KVDataBlock& block);
// The block gets whole lines, without their ends.
int32_t KCLaunchAndReadLinesWithBlock(const char* commandLine, KVLaunchContext context,
                                      const KVDataBlock& block);
// Appends all output to `output`, which may be null.
int32_t KCLaunchAndWaitForResult(const char* commandLine, KVLaunchContext context, CFMutableStringRef output);

// What all of them do: `wait` counts when there is no block, `lines` when there is one; `pid` may be null.
int32_t KCLaunchWithParams(const char* commandLine, KVLaunchContext context, bool wait,
                           const KVDataBlock& block, bool lines, int* pid);
