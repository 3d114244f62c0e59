#include "common/KCDebugging.h"

#include <CoreFoundation/CoreFoundation.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

#include "common/KCException.h"
#include "common/KCFolderManager.h"
#include "common/KCPidUtils.h"
#include "common/StCFTypeRef.h"
#include "platform/FormatText.h"
#include "platform/Handles.h"
#include "platform/System.h"

std::atomic<int32_t> gDebugAction = 1;
std::atomic<int32_t> gLogLevel = 1;

namespace {

constexpr int32_t kActionPrint = 1;
constexpr int32_t kActionAlert = 2;

// Null until the first use; filled once.
std::atomic<const char*> gDebugProcessName = nullptr;

// "Sat Nov 21 09:05:07 2026 [00042] name : "
std::string LinePrefix() {
  const time_t now = time(nullptr);
  char timeText[255] = {};
  ctime_r(&now, timeText);
  const pid_t pid = getpid();
  char prefix[128];
  std::snprintf(prefix, sizeof prefix, "%24.24s [%.5ld] %s : ", timeText, static_cast<long>(pid),
                KCDebugGetProcessName(pid));
  return prefix;
}

// The agent's log file for appending. One that is made here can be written by every user's programs.
platform::UniqueFd OpenLogFile() {
  const char* path = FetchFolder(kFolderLogFile);
  constexpr int kFlags = O_WRONLY | O_APPEND | O_CLOEXEC;
  constexpr mode_t kEverybody = 0666;
  platform::UniqueFd file(open(path, kFlags | O_CREAT | O_EXCL, kEverybody));
  if (file) {
    fchmod(file.Get(), kEverybody);
  } else if (errno == EEXIST) {
    file.Reset(open(path, kFlags));
  }
  return file;
}

void ShowAlert(const std::string& header, const char* file, long line) {
  const auto makeString = [](const std::string& text) {
    return StCFTypeRef<CFStringRef>{
        CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), CFStringGetSystemEncoding())};
  };
  const StCFTypeRef<CFStringRef> headerString = makeString(header);
  const StCFTypeRef<CFStringRef> message =
      makeString("FILE: " + std::string(file) + ", LINE: " + std::to_string(line));
  CFOptionFlags response = kCFUserNotificationDefaultResponse;
  CFUserNotificationDisplayAlert(0, kCFUserNotificationStopAlertLevel, nullptr, nullptr, nullptr,
                                 headerString, message, CFSTR("Go"), CFSTR("Abort"), CFSTR("Debug"),
                                 &response);
  if (response == kCFUserNotificationAlternateResponse) std::abort();
  if (response == kCFUserNotificationOtherResponse) platform::DebuggerBreak();
}

}  // namespace

void KCDebugging::DebugLog(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  DebugLog(format, arguments);
  va_end(arguments);
}

void KCDebugging::DebugLog(const char* format, va_list arguments) {
  const std::string message = platform::FormatText(format, arguments);
  const std::string line = LinePrefix() + message;
  platform::WriteLine(STDERR_FILENO, line);

  const platform::UniqueFd file = OpenLogFile();
  if (file && platform::WriteLine(file.Get(), line)) return;
  syslog(LOG_ALERT, "[%ld] KORVANE : %.254s", static_cast<long>(getpid()), message.c_str());
}

void KCDebugging::KVLog(KVLogLevel level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  KVLog(level, format, arguments);
  va_end(arguments);
}

void KCDebugging::KVLog(KVLogLevel level, const char* format, va_list arguments) {
  if (level >= 0 && level <= gLogLevel) DebugLog(format, arguments);
}

void KCDebugging::DebugThrow(int code, const char* file, long line) {
  const int32_t action = gDebugAction;
  if (action == kActionPrint) {
    char characters[sizeof code];
    std::memcpy(characters, &code, sizeof code);
    std::fprintf(stderr, "%s:%lu: THROW %ld ('%.4s')\n", file, static_cast<unsigned long>(line),
                 static_cast<long>(code), characters);
  } else if (action == kActionAlert) {
    ShowAlert("THROW: " + std::to_string(static_cast<unsigned>(code)), file, line);
  }
  KCException::Throw(code);
}

void KCDebugging::DebugSignal(const char* message, const char* function, const char* file, long line) {
  const int32_t action = gDebugAction;
  if (action == kActionPrint) {
    DebugLog("%s:%s:%lu: SIGNAL '%s'\n", function, file, static_cast<unsigned long>(line), message);
  } else if (action == kActionAlert) {
    ShowAlert("SIGNAL: " + std::string(message), file, line);
  }
}

void KCSignalIf(bool condition, const char* format, ...) {
  if (!condition) return;
  char message[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message, sizeof message, format, arguments);
  va_end(arguments);
  KCDebugging::DebugSignal(message, "<inline>", "", 0);
}

const char* KCDebugGetProcessName(pid_t pid) {
  if (const char* name = gDebugProcessName) return name;
  static std::array<char, kKCProcessNameSize> buffer;
  static std::once_flag filled;
  std::call_once(filled, [pid] {
    KCGetProcessNameForPID(pid, buffer.data());
    gDebugProcessName = buffer.data();
  });
  return buffer.data();
}
