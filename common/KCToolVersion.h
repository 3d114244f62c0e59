// Versions of the agent's own programs, which tell them themselves: "-v1" prints a packed number, "-v3" a
// text with service-pack detail.
//
// A program is run through the shell, its path in double quotes; a path with a character that has a meaning
// there is refused, with a line in the log, and counts as a program that says nothing. Only the first line of
// what it prints counts. The caller waits until the program has ended, however long that takes: these calls
// belong on a thread that nobody waits for. Nothing here throws.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include <cstddef>

// What "-v1" prints, a decimal number; a text that is none is 0. False, and 0, when nothing is printed or
// there is no such program.
bool KCGetToolNumVersion(const char* path, NumVersion* version);

// What the program prints for `arguments`, which are the shell's; false, and an empty text, unless it begins
// with a digit. The line end, and what does not fit into `size` bytes with a NUL, is cut off.
bool KCGetToolNumVersionEx(const char* path, const char* arguments, char* buffer, size_t size);

// What "-v3" prints, cut in the same way; "z" when there is no such program, so that a missing one sorts
// after every real version.
void KCGetToolSPVersion(const char* path, char* buffer, size_t size);

// What "-v1" and "-v3" print, as text; the caller releases.
CFStringRef KCGetToolVersionString(const char* path);
CFStringRef KCGetToolVersionStringWithSP(const char* path);

// What "-v3" prints for a program in the agent's bin folder or below, without one final white-space
// character; the empty text for any other program. The caller releases.
CFStringRef KCVersionGetKorvaneApp(CFURLRef url);
