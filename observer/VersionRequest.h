// The version that a program prints when it is asked on the command line: "-v", "-v0", "-v1", "-v2".
//
// Main thread, before anything else is started.
#pragma once

// Answers the first argument that begins with "-v" and ends the process with status 0; returns when there is
// none. `name` stands before the full form; null or empty for none.
void ProcessVersionNumber(int argc, const char* const argv[], const char* name);

// `argument` begins with "-v"; what follows is the mode. Any tail that is no number counts as 0.
[[noreturn]] void HandleVersionRequest(const char* argument, const char* name);

// A line on standard output.
void print_application_version(int mode, const char* name);

// 2: "10.1.10.480"; 1: the same as one number; 0: "10.1.10f480"; any other: name, version, copyright and
// build date. At most 1023 bytes, valid until the next call.
const char* get_application_version(int mode, const char* name);
