// Clock, sleep, the program's folder and debug messages of the shared-screen layer.
#pragma once
#include <cstdint>
#include <string>

namespace rcserv {

// Any thread.
struct System {
  // Monotonic; wraps after 49.7 days, so only differences mean something.
  static uint32_t TickCountMs();
  static void SleepMs(uint32_t ms);

  // The folder of the running executable with its trailing "/"; empty when it cannot be told.
  static std::string GetModulePath();
};

// One line to the system log: where it comes from (the last 40 characters of `file`, which may be null) and
// the message, of which 255 bytes are kept. The level is part of the interface and decides nothing.
void rcservDebugMsg(int level, const char* file, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

}  // namespace rcserv
