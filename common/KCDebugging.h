// Diagnostics: the plain text log, and the reports of failed calls that can stop in a debugger.
//
// Any thread.
#pragma once
#include <sys/types.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>

using KVLogLevel = int32_t;

// What DebugThrow and DebugSignal do: 1 prints, 2 shows an alert that offers to abort or to enter the
// debugger, anything else is silent.
extern std::atomic<int32_t> gDebugAction;
// The highest level that KVLog writes.
extern std::atomic<int32_t> gLogLevel;

class KCDebugging {
 public:
  // Writes to standard error and to the agent's log file, after the time, the process and its name. The text
  // brings its own line end. Where the log file cannot be opened, the text goes to the system log.
  static void DebugLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
  static void DebugLog(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

  // DebugLog, when 0 <= level <= gLogLevel.
  static void KVLog(KVLogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));
  static void KVLog(KVLogLevel level, const char* format, va_list arguments)
      __attribute__((format(printf, 2, 0)));

  // Reports, then throws KCException(code).
  [[noreturn]] static void DebugThrow(int code, const char* file, long line);
  static void DebugSignal(const char* message, const char* function, const char* file, long line);
};

// Reports a failed call: DebugSignal with the message (at most 255 bytes of it) when the condition holds.
void KCSignalIf(bool condition, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The name of this process, looked up once under the PID of the first call. Borrowed for good.
const char* KCDebugGetProcessName(pid_t pid);
