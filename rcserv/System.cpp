#include "rcserv/System.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <thread>

#include "platform/System.h"

namespace rcserv {

namespace {

constexpr size_t kPrefixBytes = 315;
constexpr size_t kMessageBytes = 256;
constexpr size_t kShownOfPath = 40;

}  // namespace

uint32_t System::TickCountMs() {
  static const platform::HostTimebase timebase = platform::GetHostTimebase();
  return static_cast<uint32_t>(platform::HostTicks() * timebase.numerator /
                               (uint64_t{timebase.denominator} * 1'000'000));
}

void System::SleepMs(uint32_t ms) {
  std::this_thread::sleep_for(std::chrono::microseconds(uint64_t{ms} * 1000));
}

std::string System::GetModulePath() {
  const std::string path = platform::ExecutablePath();
  return path.substr(0, path.rfind('/') + 1);
}

void rcservDebugMsg(int, const char* file, int line, const char* format, ...) {
  char text[kPrefixBytes + kMessageBytes];
  if (file != nullptr) {
    const size_t length = std::strlen(file);
    const bool cut = length > kShownOfPath;
    std::snprintf(text, kPrefixBytes, "%s%s:%d: ", cut ? "---" : "",
                  cut ? file + length - kShownOfPath : file, line);
  } else {
    std::snprintf(text, kPrefixBytes, "%d: ", line);
  }

  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text + std::strlen(text), kMessageBytes, format, arguments);
  va_end(arguments);
  // The log ends its lines itself.
  const size_t length = std::strlen(text);
  if (text[length - 1] == '\n') text[length - 1] = '\0';
  platform::ConsoleLog("%s", text);
}

}  // namespace rcserv
