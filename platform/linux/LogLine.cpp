#include "platform/linux/LogLine.h"

#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>

#include "platform/ThreadSafety.h"

namespace platform {

namespace {

constexpr std::array<const char*, 8> kLevelNames = {"Emergency", "Alert",  "Critical", "Error",
                                                    "Warning",   "Notice", "Info",     "Debug"};
// Not strftime's names: those follow the locale.
constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The C library has one log connection a process; each message opens and closes it.
Lock gSystemLogLock;

std::string HostName() {
  char name[HOST_NAME_MAX + 1] = {};
  if (gethostname(name, sizeof name - 1) != 0) return "localhost";
  const std::string_view whole(name);
  return std::string(whole.substr(0, whole.find('.')));
}

std::string Timestamp() {
  const time_t now = time(nullptr);
  tm local{};
  localtime_r(&now, &local);
  char text[64];
  std::snprintf(text, sizeof text, "%s %2d %02d:%02d:%02d", kMonths[static_cast<size_t>(local.tm_mon)],
                local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  return text;
}

void AppendSafe(std::string& line, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '\r':
      case '\n':
        line += "\n\t";
        break;
      case '\b':
        line += "^H";
        break;
      default:
        line += c;
    }
  }
}

}  // namespace

const char* LogSender() { return program_invocation_short_name; }

std::string FormatLogLine(std::string_view sender, int level, std::string_view text) {
  std::string line = Timestamp() + " " + HostName() + " ";
  line += sender;
  line += "[" + std::to_string(getpid()) + "] <" + kLevelNames[static_cast<size_t>(level)] + ">: ";
  AppendSafe(line, text);
  line += '\n';
  return line;
}

void WriteLogLine(int fd, std::string_view line) {
  while (write(fd, line.data(), line.size()) < 0 && errno == EINTR) {
  }
}

void SendToSystemLog(const char* sender, int level, const char* text) {
  const Locked locked(gSystemLogLock);
  openlog(sender, LOG_PID | LOG_NDELAY, LOG_USER);
  syslog(level, "%s", text);
  closelog();
}

}  // namespace platform
