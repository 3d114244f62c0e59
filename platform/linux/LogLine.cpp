#include "platform/linux/LogLine.h"

#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>

#include "platform/System.h"
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

bool WriteLine(int fd, std::string_view line) {
  constexpr int kPatienceMs = 100;
  pollfd file{fd, POLLOUT, 0};
  int ready;
  do {
    ready = poll(&file, 1, kPatienceMs);
  } while (ready < 0 && errno == EINTR);
  // A pipe without a reader has an error as well: a write would end the process.
  if (ready != 1 || file.revents != POLLOUT) return false;

  ssize_t written;
  do {
    written = write(fd, line.data(), line.size());
  } while (written < 0 && errno == EINTR);
  return written == static_cast<ssize_t>(line.size());
}

void SendToSystemLog(const char* sender, int level, const char* text) {
  const Locked locked(gSystemLogLock);
  openlog(sender, LOG_PID | LOG_NDELAY, LOG_USER);
  syslog(level, "%s", text);
  closelog();
}

}  // namespace platform
