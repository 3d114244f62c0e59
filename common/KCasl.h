// The agent's operational log: one call, one line in the system log and in the agent's log file.
//
// Any thread. The setters are for the start of a program.
#pragma once
#include <cstdint>

// Whether the option bits that callers of ASLLogger pass (echo to standard error) take effect; at first they
// do.
void ASLWriteToStdErr(int on);

// Debug mode: every level is logged.
void ASLSetDebug(int on);

// Bit n set: messages of level n are logged; 0x4F at first (0 to 3 and 6). Bit 7 in a mask also switches
// debug mode on, and a later mask without it does not switch it off.
void ASLSetFilter(uint32_t mask);
uint32_t ASLGetFilter();

// The log file in place of the agent's own; at most 511 bytes of the path are taken, an empty path means the
// agent's own again, null is ignored.
void ASLSetLogFile(const char* path);

// Logs one message at the system log's `level` (0 to 7; the agent uses 6, and 7 for what is verbose).
// `format` is UTF-8 and a Core Foundation format: printf's conversions and "%@"; one newline at its end is
// dropped. `stderrOption` 1 echoes the line to standard error, `toLogFile` copies it to the log file.
void ASLLogger(int level, int stderrOption, bool toLogFile, const char* format, ...);
